// Wine reports changes in a folder that was there before the watch only once the
// folder has been opened; of a root that went and returns, it even keeps the
// folders of the lost watch and reports nothing from them. This opens what the
// selection includes, top-down. On Windows it opens nothing. One thread.
#pragma once

#include "host/Selection.h"

#include <functional>
#include <set>
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

    // Opens what lies on the roots that were not among those of the last call. True when the roots differ.
    bool Open(const std::vector<CString>& roots);

private:
    void OpenRoot(const CString& root);
    void OpenBelow(const std::wstring& top, bool again) const;

    const std::vector<SelectionView::Folder> m_folders;
    const std::function<bool()> m_stop;
    std::vector<CString> m_opened; // the roots of the last call
    std::set<CString> m_everOpened;
};
