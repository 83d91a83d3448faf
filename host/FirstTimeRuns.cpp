#include "host/FirstTimeRuns.h"

#include "companions/settings/OrbSettings.h"

#include <ctime>

FirstTimeRuns::FirstTimeRuns(COrbWatcher& watcher) : m_watcher(watcher)
{
    CString name;
    name.Format(L"Local\\orbwatch-enumerated-%u", GetCurrentProcessId());
    m_completed.Reset(CreateEventW(nullptr, TRUE, FALSE, name));
    watcher.SetFirstTimeCompletionEvent(name);
    watcher.UpdateThreadsPriority(CPUSpeedFull);
}

void FirstTimeRuns::Prepare()
{
    constexpr std::int32_t never = -1;
    CServiceRunSettings& settings = GetServiceRunSettings();
    if (settings.GetValue(FirstTimeRunTimeKey, never) != never)
        return;
    settings.SetValue(FirstTimeRunTimeKey, static_cast<std::int32_t>(std::time(nullptr)));
    settings.Save();
}

bool FirstTimeRuns::Start() { return m_watcher.StartFirstTimeRun(0) != 0; }

bool FirstTimeRuns::Follow()
{
    // Read this first: an enumeration reports its completion before it ends.
    const bool running = m_watcher.GetEnumerationProgress().running > 0;
    if (IsSignalled(m_completed.Get())) {
        ResetEvent(m_completed.Get());
        m_watcher.NoteFirstTimeRunCompleted();
    }
    return running;
}
