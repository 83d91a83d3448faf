// Wine reports changes in a folder that was there before the watch only once the
// folder has been opened. It also keeps folders of watches that have ended, of
// any process, as long as another watch lives, and reports nothing from them; a
// short watch on such a folder makes it forget. A folder that is made later and gets
// the inode number of a kept one is not reported either. So the folders of what the
// selection includes are forgotten and opened, top-down, when a root comes, and
// forgotten again when the watch has ended. A folder that another orbwatch may be
// watching is only opened: forgetting it would take it from the other. On Windows
// this does nothing. One thread.
#pragma once

#include "host/Selection.h"
#include "support/Handle.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

class DirectoryOpener
{
public:
    // `stop` is asked between two folders.
    DirectoryOpener(std::vector<SelectionView::Folder> folders, std::function<bool()> stop)
        : m_folders(std::move(folders)),
          m_stop(std::move(stop))
    {
    }

    // These instead; the next call of Open opens them.
    void SetFolders(std::vector<SelectionView::Folder> folders);

    // Opens what lies on the roots that were not among those of the last call. True when the roots differ.
    bool Open(const std::vector<CString>& roots);

    // After the watch has ended: leaves nothing behind for whoever watches next. Takes a few seconds at most.
    void Close();

private:
    void OpenRoot(const CString& root);

    void ForgetRoot(const CString& root, HANDLE claim, const std::function<bool()>& stop) const;
    void PassOver(const CString& root, bool forget, const std::function<bool()>& stop) const;

    std::vector<SelectionView::Folder> m_folders;
    const std::function<bool()> m_stop;
    bool m_foldersChanged = false;
    std::vector<CString> m_opened;            // the roots of the last call
    std::map<CString, KernelHandle> m_claims; // on the roots of the last call
};
