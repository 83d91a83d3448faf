// Facts about the item of one event, asked of the disk once. A look that is meant to find a later state asks the disk
// itself.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/core/intake/ListedFolder.h"
#include "support/LockOrder.h"
#include "support/SystemPath.h"

#include <windows.h>

class FileFacts
{
public:
    // Asks the disk.
    static FileFacts Of(const CString& path)
    {
        const LockOrder::DiskScope disk;
        const DWORD attributes = GetFileAttributesW(SystemPath(path));
        return {attributes, attributes == INVALID_FILE_ATTRIBUTES ? GetLastError() : ERROR_SUCCESS, nullptr};
    }
    // Takes the attributes that the list of a folder has just shown. The list may be older than the file.
    // The folder must outlive the judgement of the item.
    static FileFacts Listed(DWORD attributes, ListedFolder& folder) { return {attributes, ERROR_SUCCESS, &folder}; }

    bool AreKnown() const { return m_attributes != INVALID_FILE_ATTRIBUTES; }
    // Returns why they are not known.
    DWORD Error() const { return m_error; }
    bool AreListed() const { return m_listed != nullptr; }
    // Returns true for a file that a list has shown on a volume of this machine, and that was no link then.
    bool AreOfLocalFile() const { return AreListed() && !IsFolder() && !IsLink() && m_listed->IsLocal(); }
    bool IsFolder() const { return Has(FILE_ATTRIBUTE_DIRECTORY); }
    bool AreOfFile() const { return AreKnown() && !IsFolder(); }
    bool IsLink() const { return Has(FILE_ATTRIBUTE_REPARSE_POINT); }
    // An item without known attributes counts as hidden.
    bool IsHidden() const { return (m_attributes & FILE_ATTRIBUTE_HIDDEN) != 0; }

private:
    FileFacts(DWORD attributes, DWORD error, ListedFolder* listed)
        : m_attributes(attributes),
          m_error(error),
          m_listed(listed)
    {
    }

    bool Has(DWORD attribute) const { return AreKnown() && (m_attributes & attribute); }

    DWORD m_attributes;
    DWORD m_error;
    ListedFolder* m_listed; // null: the disk was asked
};
