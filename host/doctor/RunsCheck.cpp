#include "host/doctor/Checks.h"
#include "support/Handle.h"

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

Check CheckMark(const std::wstring& path, const WIN32_FIND_DATAW& data)
{
    const DWORD process = wcstoul(data.cFileName + std::wcslen(L"watcher_running_"), nullptr, 10);
    const std::wstring who = L"process " + std::to_wstring(process);
    if (GoesOn(process, data.ftLastWriteTime))
        return {"runs", Check::State::Ok, L"a watcher runs on this data folder: " + who, path};
    return {"runs", Check::State::Warning,
            L"the watcher of " + who + L" was killed or crashed; the next start looks at everything again", path};
}

} // namespace

Checks CheckRuns(const std::wstring& dataFolder)
{
    Checks checks;
    WIN32_FIND_DATAW data;
    const FindHandle search(FindFirstFileW((dataFolder + L"\\watcher_running_*.bin").c_str(), &data));
    for (bool more = static_cast<bool>(search); more; more = FindNextFileW(search.Get(), &data) != FALSE)
        checks.push_back(CheckMark(dataFolder + L"\\" + data.cFileName, data));
    if (checks.empty())
        checks.push_back({"runs", Check::State::Ok, L"no watcher runs on this data folder, and none was killed", L""});
    return checks;
}
