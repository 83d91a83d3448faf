#include "orbwatcher4/core/drives/RescanStarter.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/due/TimeRule.h"
#include "orbwatcher4/core/environment/Completes.h"

namespace
{

constexpr std::int32_t DefaultScanInterval = 24; // hours
constexpr std::int64_t SecondsPerHour = 3600;

} // namespace

RescanStarter::RescanStarter(DueEnumerations& due, Selection& selection, Enumerator& enumerator, Drives& drives,
                             const RescanListener& listener)
    : m_due(due),
      m_selection(selection),
      m_enumerator(enumerator),
      m_drives(drives),
      m_listener(listener)
{
}

// Rescans each root once in a quiet time, however often changes were lost. Losses during the rescan make another one
// due.
void RescanStarter::StartReady(std::int64_t now)
{
    for (const CString& root : m_due.Rescans().Ready(now)) {
        const std::optional<Drive::State> state = m_drives.StateOf(root);
        if (!state)
            m_due.Rescans().Take(root); // the rules no longer name it
        else if (const auto rescan = m_due.Rescans().Find(root); rescan && state == Drive::State::Present)
            Start(root, rescan->reason, now);
    }
}

bool RescanStarter::Start(const CString& root, const char* reason, std::int64_t now)
{
    DueRescans::Rescans::node_type due = m_due.Rescans().Take(root);
    bool started = false;
    Completes(L"The start of a run over one drive", [&] {
        m_begun.reserve(m_begun.size() + 1); // the announcement must not fail once the enumeration runs
        started = m_enumerator.StartOn(root);
    });
    if (started) {
        m_begun.emplace_back(root, reason);
        return true;
    }
    if (!Completes(L"Keeping a rescan due", [&] { m_due.Rescans().GiveBack(root, std::move(due), reason, now); }))
        m_due.MakeFull();
    return false;
}

void RescanStarter::Announce()
{
    for (const auto& begun : std::exchange(m_begun, {}))
        if (m_listener)
            Completes(L"The listener of rescans", [&] { m_listener(begun.first, begun.second); });
}

void RescanStarter::StartFullByTime(std::int64_t now)
{
    if (!m_selection.loaded || m_enumerator.IsShownAsRunning() || TimeRule::IsCheckTooEarly(now))
        return;
    TimeRule::NoteCheck(now);
    if (!IsFullDue(now) || m_enumerator.IsShownAsRunning())
        return;
    g_OrbLog.Log(L"Rescanning selections based on time rule");
    m_due.KeepDueUntilCompleted();
    m_enumerator.Start(false);
}

bool RescanStarter::IsFullDue(std::int64_t now)
{
    const std::int64_t completed = m_due.FullCompletedAt();
    g_OrbLog.Log(L"First time Complete = %d", static_cast<std::int32_t>(completed));
    if (completed != 0) {
        CUserConfigurations& configuration = GetUserConfigurations();
        configuration.Load();
        const std::int32_t interval = configuration.GetValue(ScanIntervalKey, DefaultScanInterval);
        // A completion in the future means that the clock was set back, or the value is damaged. Waiting for it could
        // take years.
        const std::int64_t hours = (now - completed) / SecondsPerHour;
        if (hours >= 0 && hours < interval)
            return false;
    }
    // A rescan of a selection that was once complete runs hidden.
    m_enumerator.Hide(completed != 0);
    return true;
}
