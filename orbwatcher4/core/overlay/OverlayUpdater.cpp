#include "orbwatcher4/core/overlay/OverlayUpdater.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/environment/ActingForUser.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/environment/FileFindData.h"
#include "orbwatcher4/core/environment/WatcherThread.h"
#include "orbwatcher4/core/overlay/OverlayRemover.h"

namespace
{

unsigned __stdcall RunOnThread(void* updater)
{
    const COrbFuncLog guard(L"COrbWatcher::_FirstTimeAutoExOverlayUpdater");
    const WatcherThreadScope scope(OverlayThreadName);
    static_cast<OverlayUpdater*>(updater)->Run();
    return 0;
}

} // namespace

OverlayUpdater::OverlayUpdater(const Config& config, Selection& selection, const OverlayStatuses& statuses,
                               CSignal& stop)
    : m_config(config),
      m_selection(selection),
      m_statuses(statuses),
      m_stop(stop)
{
}

void OverlayUpdater::Start()
{
    if (!m_statuses.AreWanted())
        return;
    m_thread = StartWatcherThread(&RunOnThread, this);
    if (!m_thread)
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to start the overlay thread: %d", GetLastError());
}

void OverlayUpdater::Join() { JoinWatcherThread(m_thread, OverlayThreadName); }

void OverlayUpdater::Run()
{
    ActingForUser::UntilTheThreadEnds(m_config.userToken);
    Completes(L"The overlay thread", [this] { MarkAll(); });
}

// The rules are copied, because the walk may take long and changes are judged meanwhile.
void OverlayUpdater::MarkAll()
{
    FilterList rules;
    {
        const CSingleLock lock(m_selection.primaryLock);
        rules = m_selection.primary.RulesWith(RuleFlags::AutoExclude);
    }
    for (const FilterPtr& rule : rules) {
        if (m_stop.IsSet())
            break;
        Mark(*rule);
    }
}

void OverlayUpdater::Mark(const Filter& rule)
{
    OverlayRemover remover(m_selection, m_statuses, m_stop);
    if (IsDirectory(rule.path))
        remover.ScanFolder(rule);
    else
        remover.FileFoundCallback(rule.path, 0);
}
