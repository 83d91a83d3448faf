#include "companions/settings/OtherFiles.h"

#include "support/Handle.h"
#include "support/SystemPath.h"
#include "support/Wildcard.h"
#include "support/WithoutThreadToken.h"

#include <algorithm>
#include <iterator>

namespace
{

// The last asterisk of some stands for ".bad": damaged files keep their names.
constexpr const wchar_t* OwnNames[] = {
    L"OrbWatcher*.log",    L"watcher_running_*.bin",    L"watcher_claim.txt",        L"watcher_dump.bin*",
    L"MainSettings.json*", L"ServiceRunSettings.json*", L"UserConfigurations.json*", L"~o*.tmp*",
};

bool IsOwnName(const wchar_t* name)
{
    return std::any_of(std::begin(OwnNames), std::end(OwnNames),
                       [&](const wchar_t* pattern) { return MatchWildcard(pattern, name); });
}

bool IsDotName(const wchar_t* name) { return CString(name) == L"." || CString(name) == L".."; }

} // namespace

std::vector<CString> FindOtherFiles(const CString& folder, std::size_t most)
{
    const WithoutThreadToken asProcess; // the folder is the product's
    std::vector<CString> files;
    std::vector<CString> folders{folder};
    for (std::size_t next = 0; next < folders.size() && files.size() < most; ++next) {
        const CString parent = folders[next] + L"\\";
        WIN32_FIND_DATAW data;
        const FindHandle search(FindFirstFileW(SystemPath(parent + L"*"), &data));
        for (bool more = static_cast<bool>(search); more && files.size() < most;
             more = FindNextFileW(search.Get(), &data) != FALSE) {
            if (IsDotName(data.cFileName) || (next == 0 && IsOwnName(data.cFileName)))
                continue;
            if (!(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
                files.push_back(parent + data.cFileName);
            else if (!(data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) && folders.size() < most)
                folders.push_back(parent + data.cFileName);
        }
    }
    return files;
}
