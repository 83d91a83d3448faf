// One settings file: reading it whole, replacing it whole, keeping a bad one.
// One thread at a time.
#pragma once

#include "mfc/CString.h"
#include "support/OwnerAccess.h"

#include <string>
#include <utility>

class SettingsFile
{
public:
    enum class ReadResult { Read, Missing, Failed };

    // `others`: what accounts that are not trusted may do with a file that is made anew.
    SettingsFile(CString path, OwnerAccess::Others others) : m_path(std::move(path)), m_others(others) {}

    const CString& Path() const { return m_path; }

    // Failed: somebody keeps the file to himself, it may not be read, it is not trusted, or it is larger than 64
    // MiB; `error` says why.
    ReadResult Read(std::string& bytes, unsigned long& error) const;
    // Writes a temporary file beside, then puts it in the file's place. On failure the old file is
    // untouched, no temporary one is left, and `error` says why.
    bool Replace(const std::string& bytes, unsigned long& error) const;
    // Renames the file to the same name with ".bad"; an older one of that name goes.
    bool KeepAsBad() const;
    // Undoes that, unless there is another file by now.
    void TakeBackBad() const;

private:
    CString m_path;
    OwnerAccess::Others m_others;
};
