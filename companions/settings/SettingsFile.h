// One settings file: reads it whole, replaces it whole, keeps a damaged one. One thread at a time.
#pragma once

#include "mfc/CString.h"
#include "support/OwnerAccess.h"

#include <string>
#include <utility>

class SettingsFile
{
public:
    enum class ReadResult { Read, Missing, Folder, Failed };

    // `others`: the rights of other accounts on a file that is made anew.
    SettingsFile(CString path, OwnerAccess::Others others) : m_path(std::move(path)), m_others(others) {}

    const CString& Path() const { return m_path; }

    // Reads the file. Folder: one stands in its place. Failed: another program has it open for itself, it may not be
    // read, it is not trusted, or it is larger than 64 MiB; `error` says why.
    ReadResult Read(std::string& bytes, unsigned long& error) const;
    // Writes a temporary file beside the file, then replaces the file by it. On failure the old file is untouched, no
    // temporary file is left, and `error` says why.
    bool Replace(const std::string& bytes, unsigned long& error) const;
    // Renames the file, or the folder in its place, to its name with an ending of ".bad", which no older file has.
    // Returns the new path; empty when the file is still in its place.
    CString KeepAsBad() const;
    // Undoes KeepAsBad, unless there is another file by now.
    void TakeBack(const CString& kept) const;

private:
    bool IsFolderInItsPlace() const;

    CString m_path;
    OwnerAccess::Others m_others;
};
