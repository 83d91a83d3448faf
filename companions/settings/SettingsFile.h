// One settings file: reading it whole, replacing it whole, keeping a bad one.
// One thread at a time.
#pragma once

#include "mfc/CString.h"

#include <string>
#include <utility>

class SettingsFile
{
public:
    enum class ReadResult { Read, Missing, Failed };

    explicit SettingsFile(CString path) : m_path(std::move(path)) {}

    const CString& Path() const { return m_path; }

    // Failed: somebody keeps the file to himself, or it may not be read; `error` says why.
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
};
