// The folder whose list an enumeration, or the expansion of a new folder, reads. A list may be behind the files: it
// keeps no file out, and it proves of none that it has not changed. One thread.
#pragma once

#include "mfc/CString.h"
#include "support/LocalVolume.h"
#include "support/LockOrder.h"

#include <windows.h>

#include <optional>

class ListedFolder
{
public:
    // Call it before the list is read.
    void Enter(const CString& folder)
    {
        m_enteredAt = GetTickCount64();
        m_folder = folder;
        m_isLocal.reset();
    }
    // Returns true when the folder is on a volume of this machine, which answers questions by a file's name with what
    // the file is now. A share may answer with what the list has shown. Asks the system once.
    bool IsLocal()
    {
        if (!m_isLocal) {
            const LockOrder::DiskScope disk;
            m_isLocal = IsOnLocalVolume(m_folder);
        }
        return *m_isLocal;
    }

    // Returns true as long as the attributes of the list count.
    bool IsRecent() const { return GetTickCount64() - m_enteredAt < GoodFor; }

private:
    static constexpr ULONGLONG GoodFor = 1000; // milliseconds

    CString m_folder;
    ULONGLONG m_enteredAt = 0;
    std::optional<bool> m_isLocal;
};
