#include "companions/settings/OtherFiles.h"

#include "support/CaseFold.h"
#include "support/Dots.h"
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

// The folder of exports that wait for the online mode, and its files.
constexpr const wchar_t* Outbox = L"\\outbox\\";
constexpr const wchar_t* OutboxNames[] = {L"Transaction*.tdb*", L"next*"};

bool IsInOutbox(const wchar_t* name)
{
    return std::any_of(std::begin(OutboxNames), std::end(OutboxNames),
                       [&](const wchar_t* pattern) { return MatchWildcard(pattern, name); });
}

} // namespace

std::vector<CString> FindOtherFiles(const CString& folder, std::size_t most)
{
    const WithoutThreadToken asProcess; // the folder is the product's
    std::vector<CString> files;
    std::vector<CString> folders{folder};
    const CString outbox = folder + Outbox;
    for (std::size_t next = 0; next < folders.size() && files.size() < most; ++next) {
        const CString parent = folders[next] + L"\\";
        WIN32_FIND_DATAW data;
        const FindHandle search(FindFirstFileW(SystemPath(parent + L"*"), &data));
        for (bool more = static_cast<bool>(search); more && files.size() < most;
             more = FindNextFileW(search.Get(), &data) != FALSE) {
            if (IsDots(data.cFileName) || (next == 0 && IsOwnName(data.cFileName)) ||
                (EqualNoCase(parent.View(), outbox.View()) && IsInOutbox(data.cFileName)))
                continue;
            if (!(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
                files.push_back(parent + data.cFileName);
            else if (!(data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) && folders.size() < most)
                folders.push_back(parent + data.cFileName);
        }
    }
    return files;
}
