#include "companions/settings/OtherFiles.h"
#include "host/doctor/Checks.h"
#include "host/doctor/FolderMemory.h"
#include "support/Backslash.h"

#include <windows.h>

#include <shlwapi.h>

Checks CheckOtherFiles(const std::wstring& dataFolder, const std::wstring& index)
{
    constexpr std::size_t most = 1000;
    if (PathIsRootW(WithBackslash(dataFolder.c_str()))) // only the product's own files are left out there
        return {};
    OrbFilter filter;
    filter.SetDatabases({index.c_str(), ReadFolderMemory(dataFolder).owner.index});
    std::vector<CString> files = FindOtherFiles(dataFolder.c_str(), most);
    const bool more = files.size() == most;
    std::erase_if(files,
                  [&](const CString& file) { return filter.WhyKeptOut(OrbFilter::SystemForm(file)) != KeptOut::No; });
    if (files.empty())
        return {};
    const std::wstring count = std::to_wstring(files.size()) + (more ? L" or more" : L"");
    return {{"settings", Check::State::Warning,
             (files.size() == 1 ? L"a file in the data folder is not the product's own, and is never backed up; use "
                                  L"another data folder, or move it"
                                : count + L" files in the data folder are not the product's own, and are never backed "
                                          L"up, such as this one; use another data folder, or move them"),
             files.front().GetString()}};
}
