#include "orbwatcher4/core/drives/RootWatches.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/environment/FileFindData.h"

bool RootWatches::IsWatched(const CString& root) const { return m_engine.IsWatchingDirectory(RootOf(root)); }

bool RootWatches::Begin(const CString& root, std::int64_t now)
{
    Attempts& attempts = m_attempts[root];
    attempts.retry.NoteAttempt(now);
    const DWORD error = m_engine.WatchDirectory(RootOf(root), &m_handler);
    attempts.began = error == ERROR_SUCCESS ? now : 0;
    if (error != ERROR_SUCCESS)
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The root %s cannot be watched (error %d); it is tried again",
                          root.GetString(), error);
    return error == ERROR_SUCCESS;
}

bool RootWatches::BeginAgain(const CString& root, std::int64_t now)
{
    Attempts& attempts = m_attempts[root];
    // A watch that lasted long has nothing to do with earlier failures.
    if (attempts.began != 0 && now >= attempts.began + Retry::LongestPause)
        attempts.retry = {};
    attempts.began = 0;
    return attempts.retry.IsDue(now) && Begin(root, now);
}

void RootWatches::End(const CString& root)
{
    if (!root.IsEmpty())
        m_engine.UnwatchDirectory(RootOf(root).GetString());
}

void RootWatches::Forget(const CString& root)
{
    End(root);
    m_attempts.erase(root);
}

void RootWatches::ForgetAll()
{
    m_engine.UnwatchAllDirectories();
    m_attempts.clear();
}

std::vector<CString> RootWatches::Tried() const
{
    std::vector<CString> roots;
    roots.reserve(m_attempts.size());
    for (const auto& [root, attempts] : m_attempts)
        roots.push_back(root);
    return roots;
}
