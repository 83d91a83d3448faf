#include "orbwatcher4/core/rescan/Enumerator.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/due/SelectionNote.h"
#include "orbwatcher4/core/environment/ActingForUser.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/environment/FileFindData.h"
#include "orbwatcher4/core/environment/WatcherThread.h"
#include "orbwatcher4/core/rescan/EnumerationWalk.h"
#include "orbwatcher4/core/rescan/RunningEvent.h"
#include "orbwatcher4/core/selection/PluginTable.h"
#include "support/WithoutThreadToken.h"

#include <algorithm>
#include <utility>

namespace
{

constexpr unsigned RunFailed = 0xFFFFFFFF;

struct RootRun {
    Enumerator* enumerator;
    CString root;
};

void ReloadSelection(const EnumerationParts& m)
{
    const CSingleLock primary(m.selection.primaryLock);
    const CSingleLock secondary(m.selection.secondaryLock);
    m.selection.CountWith(&m.pending.Counters());
    m.selection.Load(m.overlay.ForFilter(), m.config.files.advanced);
    m.selection.RequestItsRoots();
    Completes(L"FillPluginTable", [&] { FillPluginTable(m.config); });
}

void SignalCompletion(const CString& name)
{
    if (name.IsEmpty())
        return;
    const WithoutThreadToken asProcess; // the event may be closed to the user
    const KernelHandle event(OpenEventW(EVENT_ALL_ACCESS, FALSE, name));
    if (event)
        SetEvent(event.Get());
}

} // namespace

Enumerator::Enumerator(const EnumerationParts& parts, std::function<bool(const CString& root)> isBeingRemoved)
    : m(parts),
      m_isBeingRemoved(std::move(isBeingRemoved)),
      m_found(parts)
{
}

void Enumerator::Reset()
{
    m_running = false;
    m_completed = false;
    m_everStarted = false;
    m_hidden = 0;
}

bool Enumerator::Start(bool reload)
{
    const COrbFuncLog guard(L"COrbWatcher::StartFirstTimeRun");
    {
        const CSingleLock lock(m_lock);
        if (m_running || m_refusing)
            return false;
        m_everStarted = true;
        m_running = true;
        m_found.Tally().Restart();
        m_found.Skipped().Restart();
    }
    bool started = false;
    if (!Completes(L"The start of the first-time run", [&] { started = BeginFull(reload); }))
        m.due.MakeFull();
    if (!started)
        m_running = false;
    return started;
}

bool Enumerator::BeginFull(bool reload)
{
    m.due.BeginRun(m.config.Use());
    m.due.FullBegins(); // this enumeration makes up for an earlier crash that was just noticed
    // An enumeration with the present rules is better than none, and none could begin any more.
    if (reload)
        Completes(L"The reload for the first-time run", [this] { ReloadSelection(m); });
    m.selection.PrimaryWalks().ClearJunctionCache();
    // A watch has compared them with those of the last run at its start.
    CString content;
    if (!m.selection.requestedRoots.IsWatching())
        content = SelectionNote::Of(m.config.files.OfTheSelection());
    {
        const CSingleLock lock(m_lock);
        if (m_refusing)
            return false;
        m_thread = StartWatcherThread(&RunAll, this);
        if (!m_thread) {
            g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to start the first-time run: %d", GetLastError());
            return false;
        }
    }
    if (!content.IsEmpty())
        Completes(L"Noting the selection", [&] { m.due.NoteLookedAt(content, m.selection.KeptOutDestinations()); });
    return true;
}

unsigned __stdcall Enumerator::RunAll(void* enumerator)
{
    const COrbFuncLog guard(L"COrbWatcher::_FirstRunAllDrives");
    const WatcherThreadScope scope(FirstRunThreadName);
    auto& self = *static_cast<Enumerator*>(enumerator);
    const ActingForUser user(self.m.config.userToken);
    std::optional<RunningEvent> event;
    Completes(L"Telling of the first-time run", [&] { event.emplace(self.m_hidden != 0); });
    if (!user.Acts() || !Completes(L"The first-time run", [&] { self.EnumerateAllDrives(); }))
        self.m.due.MakeFull();
    const CSingleLock lock(self.m_lock);
    event.reset(); // before another enumeration can begin, whose event has the same name
    self.m_running = false;
    self.m_completed = true;
    return 0;
}

// Returns false when the drive does not hold the recorded volume now, whatever it held when the rules were loaded. A
// walk over another volume would hand its files out under the recorded paths, and a walk over a drive that is being
// removed would keep it in use.
bool Enumerator::MayBeWalked(const CString& root) const
{
    return !m_isBeingRemoved(root) && IsReachable(root) && !m.selection.volumes.IsOther(root);
}

void Enumerator::LeaveOut(const CString& root)
{
    if (IsReachable(root))
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                          L"Initial scan started, but VolumeID doesn't match drive %s. Scan for this drive skipped.",
                          root.GetString());
    else
        g_OrbLog.Log(L"%s is away and is enumerated when it returns", root.GetString());
    m_found.Tally().CountBeside(PathOutcome::Missing);
    m_found.Skipped().Add(root, PathOutcome::Missing);
    m.due.ReportLeftOut(root, m.config.clock->Seconds());
}

void Enumerator::EnumerateAllDrives()
{
    if (!m.selection.loaded) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The enumeration waits until the selection can be read");
        m.due.MakeFull();
        return;
    }
    Completes(L"Looking for files of others in the data folder", [this] { m.selection.WarnOfDataFolder(); });
    for (const auto& [root, drive] : m.selection.Drives()) {
        if (m.stop.IsSet())
            break;
        if (!MayBeWalked(root)) {
            LeaveOut(root);
            continue;
        }
        m_found.Unmet().Fill(root);
        const bool whole = EnumerateSelected(root);
        if (!m.stop.IsSet() && !MayBeWalked(root))
            LeaveOut(root); // the drive or its volume went away meanwhile
        if (whole)
            continue;
        if (!m.stop.IsSet()) // a run that is told to end has not failed
            g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Error enumerating all files on disk, possible exception.");
        m.due.ReportLeftOut(root, m.config.clock->Seconds());
    }
    m.selection.PrimaryWalks().ClearJunctionCache();
    if (!m.stop.IsSet())
        m_found.Unmet().ReportAll();
    if (m.stop.IsSet())
        m.due.MakeFull();
    else
        SignalCompletion(m.config.completionEvent);
}

void Enumerator::NoteCompleted() noexcept
{
    Completes(L"Noting a completed enumeration", [this] { m.due.NoteFullCompleted(*m.config.clock); });
}

bool Enumerator::StartOn(const CString& root)
{
    const CSingleLock lock(m_lock);
    if (m_refusing)
        return false;
    std::erase_if(m_rootThreads, [](const auto& run) { return IsSignalled(run.second.Get()); });
    if (m_rootThreads.contains(root))
        return false;
    // Directories that any enumeration has seen must be walked again. An enumeration that is still running may meet
    // some of them twice.
    m.selection.PrimaryWalks().ClearJunctionCache();
    auto run = std::make_unique<RootRun>(RootRun{this, root});
    const auto place = m_rootThreads.try_emplace(root).first; // before the thread begins, which must be waited for
    ++m_rootsRunning;
    place->second = StartWatcherThread(&RunOne, run.get());
    if (!place->second) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to start the run over %s: %d", root.GetString(),
                          GetLastError());
        --m_rootsRunning;
        m_rootThreads.erase(place);
        return false;
    }
    static_cast<void>(run.release()); // the thread owns it
    return true;
}

unsigned __stdcall Enumerator::RunOne(void* driveAndEnumerator)
{
    const COrbFuncLog guard(L"COrbWatcher::_FirstRunSingleDrive");
    const WatcherThreadScope scope(FirstRunThreadName);
    const std::unique_ptr<RootRun> run(static_cast<RootRun*>(driveAndEnumerator));
    Enumerator& self = *run->enumerator;
    const ActingForUser user(self.m.config.userToken);
    bool whole = false;
    Completes(L"The run over one drive", [&] { whole = user.Acts() && self.EnumerateOne(run->root); });
    if (!whole || self.m.stop.IsSet())
        self.m.due.MakeFull();
    --self.m_rootsRunning;
    return whole ? 0 : RunFailed;
}

// Returns false when it was aborted.
bool Enumerator::EnumerateOne(const CString& root)
{
    if (!MayBeWalked(root)) {
        LeaveOut(root);
        return true;
    }
    m_found.Unmet().Fill(root);
    if (!EnumerateSelected(root))
        return false;
    if (!m.stop.IsSet() && !MayBeWalked(root))
        LeaveOut(root); // the drive or its volume went away meanwhile
    if (!m.stop.IsSet())
        m_found.Unmet().ReportAll();
    return true;
}

void Enumerator::Refuse()
{
    const CSingleLock lock(m_lock);
    m_refusing = true;
}

void Enumerator::Allow()
{
    const CSingleLock lock(m_lock);
    m_refusing = false;
}

void Enumerator::EndRuns()
{
    KernelHandle thread;
    std::map<CString, KernelHandle> rootThreads;
    {
        const CSingleLock lock(m_lock);
        thread = std::move(m_thread);
        rootThreads.swap(m_rootThreads);
    }
    JoinWatcherThread(thread, FirstRunThreadName);
    for (auto& [root, run] : rootThreads)
        JoinWatcherThread(run, FirstRunThreadName);
}

bool Enumerator::IsAnyThreadRunning() const
{
    const auto runs = [](const KernelHandle& thread) { return thread && !IsSignalled(thread.Get()); };
    const CSingleLock lock(m_lock);
    return runs(m_thread) ||
           std::any_of(m_rootThreads.begin(), m_rootThreads.end(), [&](const auto& run) { return runs(run.second); });
}

EnumerationProgress Enumerator::Progress() const noexcept
{
    // Read before the counts: an enumeration that has ended has counted everything.
    const int running = (m_running ? 1 : 0) + m_rootsRunning;
    EnumerationProgress progress;
    Completes(L"GetEnumerationProgress", [&] { progress = m_found.Tally().Read(); });
    progress.running = running;
    return progress;
}

bool Enumerator::EnumerateSelected(const wchar_t* drive) noexcept
{
    const COrbFuncLog guard(L"COrbWatcher::FirstRun");
    return Enumerate(drive, L"*", true);
}

bool Enumerator::Enumerate(const wchar_t* drive, const wchar_t* pattern, bool checkRules) noexcept
{
    const ActingForUser user(m.config.userToken);
    bool whole = false;
    if (user.Acts())
        Completes(L"EnumerateIncludedFiles", [&] { whole = EnumerateDrive(drive, pattern, checkRules); });
    return whole;
}

bool Enumerator::EnumerateDrive(const wchar_t* drive, const wchar_t* pattern, bool checkRules)
{
    if (checkRules) {
        std::vector<CString> files;
        bool onlyFiles = false;
        {
            const CSingleLock lock(m.selection.primaryLock);
            if (!m.selection.primary.IsDriveIncludeRules(drive))
                return true;
            onlyFiles = m.selection.primary.IsDriveIncludeOnlyFiles(drive);
            if (onlyFiles)
                m.selection.primary.GetExplicitFiles(drive, files);
        }
        for (const CString& file : files) {
            if (m.stop.IsSet())
                return false;
            m_found.TakeNamed(file);
        }
        if (onlyFiles)
            return true;
    }
    // Copied, because the rules may be edited while the walk runs.
    ScanLists lists;
    {
        const CSingleLock lock(m.selection.primaryLock);
        lists = m.selection.primary.CollectScanLists(drive);
    }
    EnumerationWalk walk(m_found);
    return m.selection.PrimaryWalks().ScanSelection(lists, pattern, m.config.hiddenFiles, &walk,
                                                    static_cast<HANDLE>(m.stop), &walk);
}
