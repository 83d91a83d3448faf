// Starts and stops the watcher's threads.
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/SelectionNote.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/WithoutThreadToken.h"

#include <algorithm>

namespace
{

// Loads into a new filter and swaps, so that a rule that is gone from the files is gone here, too. If loading fails,
// the present rules stay; a filter without rules takes those that could be loaded.
bool Reload(OrbFilter& filter, const CString& data, const CString& automatic, const wchar_t* advanced,
            WaitingFindings& findings)
{
    OrbFilter fresh;
    fresh.PrepareToReplace(filter);
    const bool loaded = fresh.LoadXmlFilters(data, automatic, advanced);
    findings.Add(fresh.Findings());
    if (loaded || !filter.HasRules())
        filter.TakeRulesFrom(fresh);
    return loaded;
}

} // namespace

// Loads both filters from their files. Returns true when a selection was read, which is more than that no error
// occurred.
bool COrbWatcher::LoadSelection()
{
    bool loaded = false;
    const bool whole = Completes(L"Loading the selection", [&] { loaded = TryLoadSelection(); });
    return whole && loaded;
}

RuleFindings COrbWatcher::TakeSelectionFindings()
{
    RuleFindings findings;
    Completes(L"TakeSelectionFindings", [&] { findings = m->findings.Take(); });
    return findings;
}

bool COrbWatcher::TryLoadSelection()
{
    const bool loaded = ReloadRules();
    QueueRootsToWatch();
    return loaded;
}

void COrbWatcher::QueueRootsToWatch()
{
    if (!m->watching.IsSet())
        return;
    const CSingleLock lock(m->selection.primaryLock);
    for (const auto& [root, drive] : m->selection.primary.GenerateDriveList())
        RequestDrive(root);
}

bool COrbWatcher::ReloadRules(const wchar_t* advancedOfSecondary)
{
    const WithoutThreadToken asProcess; // the service has named the files
    const CSingleLock primary(m->selection.primaryLock);
    const CSingleLock secondary(m->selection.secondaryLock);
    m->selection.primary.SetOverlayCache(m->overlay ? &m->overlayCache : nullptr);
    if (m->watching.IsSet()) {
        // Comes before everything that may fail: the watch thread then uses whatever rules there are.
        const CSingleLock pending(m->pendingDrivesLock);
        m->drivesChanged = true;
    }
    // Without a file, rules that were added stay.
    const bool first = !m->dataXmlPath.IsEmpty() && Reload(m->selection.primary, m->dataXmlPath, m->dataXmlPath2,
                                                           m->advancedFiltersPath, m->findings);
    const bool second =
        Reload(m->selection.secondary, m->secondaryXmlPath, m->secondaryXmlPath2, advancedOfSecondary, m->findings);
    m->selection.primary.SetSecondaryFilter(&m->selection.secondary);
    m->volumes.Follow(m->selection.primary.GenerateDriveList());
    // The rules of the data file may be loaded although another file is missing or malformed.
    if (first || (!m->dataXmlPath.IsEmpty() && m->selection.primary.HasRules()))
        m->selectionLoaded = true;
    return first && second;
}

int COrbWatcher::StartWatch()
{
    const COrbFuncLog guard(L"COrbWatcher::StartWatch");
    const CSingleLock lifecycle(m->lifecycle);
    // An earlier run is ended before the filters are locked, because its threads need them to end.
    if (m->watching.IsSet() || m->watchThread || m->overlayThread)
        StopThreads();
    m->due.BeginRun(m->Use());
    m->watching.SetEvent();
    m->stop.ResetEvent();
    m->ready.ResetEvent();
    CString content; // before the files are loaded: a later edit is noticed by the next run
    Completes(L"Reading the content of the selection", [&] { content = SelectionNote::Of(m->SelectionFiles()); });
    const auto load = [this] {
        const CSingleLock primary(m->selection.primaryLock);
        const CSingleLock secondary(m->selection.secondaryLock);
        if (!ReloadRules())
            g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The selection could not be read whole: %s",
                              m->dataXmlPath.GetString());
        FillPluginTable();
    };
    if (!Completes(L"Loading the selection", load))
        m->due.MakeFull();
    m->NoticeSelection(content);
    if (m->overlay)
        m->overlayThread = StartWatcherThread(&_FirstTimeAutoExOverlayUpdater, this);
    if (m->overlay && !m->overlayThread)
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to start the overlay thread: %d", GetLastError());
    m->watchThreadRuns = true;
    m->watchThread = StartWatcherThread(&_WatchThread, this);
    if (!m->watchThread)
        WatchNothing(GetLastError());
    return 1;
}

// The service continues; the next watcher that runs makes up for the changes meanwhile.
void COrbWatcher::WatchNothing(DWORD error)
{
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to start the watch thread: %d", error);
    m->watchThreadRuns = false;
    m->due.MakeFull();
}

int COrbWatcher::AbortWatching()
{
    const COrbFuncLog guard(L"COrbWatcher::AbortWatching");
    const CSingleLock lifecycle(m->lifecycle);
    StopThreads();
    return 1;
}

// The signals are reset, once, after every thread has ended.
void COrbWatcher::StopThreads()
{
    m->lifecycle.RequireHeld();
    m->stop.SetEvent();
    {
        const CSingleLock lock(m->firstTime.lock);
        m->firstTime.stopping = true;
    }
    JoinWatcherThread(m->watchThread, WatchThreadName);
    JoinWatcherThread(m->overlayThread, OverlayThreadName);
    EndRuns();
    JoinWatcherThread(m->deletedFilesThread, DeletedFilesThreadName);
    {
        const CSingleLock lock(m->firstTime.lock);
        m->firstTime.stopping = false;
    }
    m->ready.ResetEvent();
    m->stop.ResetEvent();
    m->watching.ResetEvent();
}

void COrbWatcher::EndRuns()
{
    KernelHandle thread;
    std::map<CString, KernelHandle> singleDriveRuns;
    {
        const CSingleLock lock(m->firstTime.lock);
        thread = std::move(m->firstTime.thread);
        singleDriveRuns.swap(m->firstTime.singleDriveRuns);
    }
    JoinWatcherThread(thread, FirstRunThreadName);
    for (auto& [root, run] : singleDriveRuns)
        JoinWatcherThread(run, FirstRunThreadName);
}

bool COrbWatcher::IsPendingKept() const { return m->pendingKept; }

bool COrbWatcher::IsCrashNoticed() const { return m->due.IsCrashNoticed(); }

bool COrbWatcher::WaitUntilReady(DWORD milliseconds) { return m->ready.Lock(milliseconds); }

std::vector<CString> COrbWatcher::GetWatchedRoots()
{
    std::vector<CString> roots;
    Completes(L"GetWatchedRoots", [&] {
        const CSingleLock lock(m->driveListLock);
        roots = m->watchedRoots;
    });
    return roots;
}

bool COrbWatcher::IsAnyThreadRunning()
{
    m->lifecycle.RequireHeld();
    const auto runs = [](const KernelHandle& thread) { return thread && !IsSignalled(thread.Get()); };
    const CSingleLock lock(m->firstTime.lock);
    return runs(m->watchThread) || runs(m->overlayThread) || runs(m->firstTime.thread) ||
           std::any_of(m->firstTime.singleDriveRuns.begin(), m->firstTime.singleDriveRuns.end(),
                       [&](const auto& run) { return runs(run.second); });
}

void COrbWatcher::DeInit()
{
    {
        const CSingleLock lifecycle(m->lifecycle);
        if (IsAnyThreadRunning())
            AbortWatching();
    }
    if (!Completes(L"The dump", [this] { DumpStore(); })) {
        m->pendingKept = false;
        m->due.MakeFull();
    }
    // The mark stays when the next start would otherwise not know what is pending, nor that it must enumerate.
    m->due.EndRun(m->pendingKept);
    Completes(L"The end", [this] {
        const CSingleLock primary(m->selection.primaryLock);
        const CSingleLock secondary(m->selection.secondaryLock);
        m->selection.primary.ClearAll();
        m->selection.secondary.ClearAll();
        m->selectionLoaded = false;
    });
    m->initialized = 0;
    ClearNotifications();
}
