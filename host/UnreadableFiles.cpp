#include "host/UnreadableFiles.h"

#include "orbwatcher4/OrbFilter.h"
#include "support/Backslash.h"
#include "support/SystemPath.h"

#include <windows.h>

namespace
{

bool Exists(const CString& path) { return GetFileAttributesW(SystemPath(path)) != INVALID_FILE_ATTRIBUTES; }

bool IsGone(const std::wstring& path)
{
    if (Exists(path.c_str()))
        return false;
    const DWORD error = GetLastError();
    return (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) &&
           Exists(WithBackslash(OrbFilter::StripToRoot(path.c_str())));
}

} // namespace

void UnreadableFiles::Note(const std::wstring& path, Time now)
{
    const auto [file, isNew] = m_pauses.try_emplace(path, 1, std::chrono::seconds(5), std::chrono::seconds(300));
    if (isNew)
        file->second.Fail(now);
}

std::vector<std::wstring> UnreadableFiles::TakeDue(Time now, bool atOnce)
{
    const auto isDue = [&](const GrowingPause& pause) { return atOnce || !pause.IsRunning(now); };
    std::erase_if(m_pauses, [&](const auto& file) { return isDue(file.second) && IsGone(file.first); });
    std::vector<std::wstring> due;
    for (auto& [path, pause] : m_pauses) {
        if (!isDue(pause))
            continue;
        pause.Fail(now);
        due.push_back(path);
    }
    return due;
}
