#include "host/FirstTimeRuns.h"

#include "companions/settings/OrbSettings.h"
#include "host/Console.h"

namespace
{

// The watch thread begins a due enumeration in its first pass. If it cannot, a watch that ends by itself must still
// end.
constexpr double LongestWait = 30; // seconds

} // namespace

FirstTimeRuns::FirstTimeRuns(COrbWatcher& watcher) : m_watcher(watcher)
{
    CString name;
    name.Format(L"Local\\orbwatch-enumerated-%u", GetCurrentProcessId());
    m_completed.Reset(CreateEventW(nullptr, TRUE, FALSE, name));
    watcher.SetFirstTimeCompletionEvent(name);
    watcher.UpdateThreadsPriority(CPUSpeedFull);
}

bool FirstTimeRuns::MakeDue(const wchar_t* reason)
{
    CServiceRunSettings& settings = GetServiceRunSettings();
    if (reason)
        settings.SetValue(FullDueReasonKey, reason);
    settings.SetValue(FirstTimeRunTimeKey, 0);
    return settings.Save();
}

bool FirstTimeRuns::IsDue() { return GetServiceRunSettings().GetValue(FirstTimeRunTimeKey, 0) == 0; }

bool FirstTimeRuns::WasAnyNoted()
{
    constexpr std::int32_t never = -1;
    return GetServiceRunSettings().GetValue(FirstTimeRunTimeKey, never) != never;
}

bool FirstTimeRuns::Start() { return m_watcher.StartFirstTimeRun(0) != 0; }

void FirstTimeRuns::Await() { m_awaitedUntil = Seconds() + LongestWait; }

bool FirstTimeRuns::Follow()
{
    // Read this first: an enumeration reports its completion before it ends.
    const bool running = m_watcher.GetEnumerationProgress().running > 0;
    const bool completed = IsSignalled(m_completed.Get());
    if (completed) {
        ResetEvent(m_completed.Get());
        m_watcher.NoteFirstTimeRunCompleted();
    }
    if (running || completed)
        m_awaitedUntil = 0;
    return running || Seconds() < m_awaitedUntil;
}
