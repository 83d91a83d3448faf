// Wine reports changes in a folder that was there before the watch only once the
// folder has been opened; of a root that went and returns, it even keeps the
// folders of the lost watch and reports nothing from them. This opens what the selection includes, top-down. On
// Windows it does nothing.
#pragma once

#include "mfc/CString.h"

#include <set>
#include <string>
#include <vector>

class DirectoryOpener
{
public:
    explicit DirectoryOpener(std::vector<std::wstring> folders) : m_folders(std::move(folders)) {}

    // Opens what lies on the roots that were not among those of the last call. True when the roots differ.
    bool Open(const std::vector<CString>& roots);

private:
    const std::vector<std::wstring> m_folders; // included ones, each with its trailing backslash
    std::vector<CString> m_opened;             // the roots of the last call
    std::set<CString> m_everOpened;
};
