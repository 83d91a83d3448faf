#include "host/RunningWatchers.h"

#include "support/Handle.h"

#include <cstdint>
#include <cwchar>

namespace
{

std::uint64_t Number(const FILETIME& time) { return time.dwLowDateTime | std::uint64_t(time.dwHighDateTime) << 32; }

// Returns true when the process of a mark still runs: it must be older than the mark. The mark itself is not opened: a
// watcher that starts meanwhile would find it in use and take an ended run for a running one.
bool GoesOn(DWORD process, const FILETIME& marked)
{
    const KernelHandle handle(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE, FALSE, process));
    if (!handle)
        return GetLastError() == ERROR_ACCESS_DENIED;
    FILETIME created, exited, kernel, user;
    return !IsSignalled(handle.Get()) && GetProcessTimes(handle.Get(), &created, &exited, &kernel, &user) &&
           Number(created) <= Number(marked);
}

} // namespace

std::vector<MarkedRun> FindRuns(const std::wstring& dataFolder)
{
    std::vector<MarkedRun> runs;
    WIN32_FIND_DATAW data;
    const FindHandle search(FindFirstFileW((dataFolder + L"\\watcher_running_*.bin").c_str(), &data));
    for (bool more = static_cast<bool>(search); more; more = FindNextFileW(search.Get(), &data) != FALSE) {
        const DWORD process = wcstoul(data.cFileName + std::wcslen(L"watcher_running_"), nullptr, 10);
        runs.push_back({dataFolder + L"\\" + data.cFileName, process, GoesOn(process, data.ftLastWriteTime)});
    }
    return runs;
}
