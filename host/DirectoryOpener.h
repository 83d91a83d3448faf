// Opens the folders of the selection for Wine. Wine reports changes in a folder that existed before the watch only
// after the folder has been opened. It also keeps folders of watches that have ended, in any process, as long as
// another watch lives, and reports nothing from them; a short watch on such a folder makes Wine forget it. Wine does
// not report a new folder, either, that gets the inode number of a kept one. Therefore the folders that the selection
// includes are forgotten and opened, top-down, when a root comes, and forgotten again when the watch has ended. A
// folder that another orbwatch may be watching is only opened: to forget it would take it from the other one. On
// Windows this does nothing. One thread.
#pragma once

#include "host/Selection.h"
#include "support/Handle.h"

#include <functional>
#include <map>
#include <vector>

class DirectoryOpener
{
public:
    // `stop` is called between two folders, and ends the opening when it returns true.
    DirectoryOpener(std::vector<SelectionView::Folder> folders, std::function<bool()> stop)
        : m_folders(std::move(folders)),
          m_stop(std::move(stop))
    {
        SortFolders();
    }

    // Replaces the folders; the next call of Open opens the new ones.
    void SetFolders(std::vector<SelectionView::Folder> folders);

    // Opens the folders on roots that were not in the last call. Returns true when the roots differ.
    bool Open(const std::vector<CString>& roots);

    // Makes Wine forget the folders; call it after the watch has ended. The next watch then finds nothing left behind.
    // Takes a few seconds at most.
    void Close();

private:
    void SortFolders();
    void OpenRoot(const CString& root);

    void ForgetRoot(const CString& root, HANDLE claim, const std::function<bool()>& stop) const;
    void PassOver(const CString& root, bool forget, const std::function<bool()>& stop) const;

    std::vector<SelectionView::Folder> m_folders;
    const std::function<bool()> m_stop;
    bool m_foldersChanged = false;
    std::vector<CString> m_opened;            // the roots of the last call
    std::map<CString, KernelHandle> m_claims; // for the roots of the last call
};
