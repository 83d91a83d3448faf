// Enumerates existing files: on all drives, and on one.
#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/Classify.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/SelectionNote.h"
#include "orbwatcher4/core/SystemNames.h"
#include "orbwatcher4/core/WatcherState.h"
#include "orbwatcher4/filter/WalkObserver.h"
#include "support/Backslash.h"
#include "support/Impersonation.h"
#include "support/WithoutThreadToken.h"

#include <limits>
#include <optional>
#include <utility>

namespace
{

constexpr unsigned RunFailed = 0xFFFFFFFF;

// An event that tells other processes that an enumeration is running. It exists as long as the enumeration.
class RunningEvent
{
public:
    explicit RunningEvent(bool hidden)
    {
        if (hidden)
            return;
        g_OrbLog.Log(L"Create first time event successfully");
        m_event =
            CreateSharedEvent(GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_FIRSTTIME_RUNNING"), true, false);
        SetEvent(m_event.Get());
    }
    ~RunningEvent()
    {
        if (!m_event)
            return;
        g_OrbLog.Log(L"Close first time event handle");
        ResetEvent(m_event.Get());
    }
    RunningEvent(const RunningEvent&) = delete;
    RunningEvent& operator=(const RunningEvent&) = delete;

private:
    KernelHandle m_event;
};

struct SingleDriveRun {
    COrbWatcher* watcher;
    CString root;
};

// The time for which the attributes of a folder's list count.
constexpr ULONGLONG ListIsGoodFor = 1000; // milliseconds

} // namespace

// Receives the files that a walk meets, with the attributes of the folder's list, and the paths that the rules leave
// out.
class COrbWatcher::EnumerationWalk final : public SmartScanCaller, public WalkObserver
{
public:
    explicit EnumerationWalk(COrbWatcher& watcher) : m_watcher(watcher), m(*watcher.m) {}

    bool ProgressCallback() override { return m_watcher.ProgressCallback(); }
    void FileFoundCallback(const wchar_t* path, unsigned __int64) override
    {
        m.enumeration.CountFile(NamedIfSkipped(path, m_watcher.TakeFound(path, TakeListed())));
    }
    void FolderFoundCallback(const wchar_t* path) override
    {
        m.enumeration.CountFolder(NamedIfSkipped(path, m_watcher.TakeFound(path, TakeListed())));
    }

    void Entering(const CString& folder) override
    {
        m_enteredAt = GetTickCount64();
        m.enumeration.SetFolder(folder);
    }
    // A refused folder makes nothing due. A passing error makes another enumeration due, once.
    void ListRead(const CString& folder, std::uint32_t error) override
    {
        if (error == ERROR_SUCCESS)
            m.due.Found(WithoutBackslash(folder));
        else if (error != ERROR_ACCESS_DENIED)
            m.due.MakeFullOnceFor(WithoutBackslash(folder));
    }
    void Shown(std::uint32_t attributes) override { m_listed = attributes; }
    // A file that vanishes during the walk is no gap, but a path that a rule names may be misspelled.
    void SelectedMissing(const CString& path) override { m.skipped.Add(path, PathOutcome::Missing); }
    void PassedOver(const CString& path, PathOutcome why) override
    {
        NamedIfSkipped(path, why);
        if (why == PathOutcome::Missing || why == PathOutcome::Unreadable)
            return m.enumeration.CountBeside(why);
        // A walk does not report whose exclusion it is.
        const bool excluded = why == PathOutcome::Excluded;
        m.enumeration.CountFolder(excluded ? RefusalOf(Classify(m.selection, path)) : why);
    }

private:
    // Names a path that could not be examined. Returns its outcome.
    PathOutcome NamedIfSkipped(const CString& path, PathOutcome outcome)
    {
        if (outcome == PathOutcome::Unreadable || outcome == PathOutcome::TooLong)
            m.skipped.Add(path, outcome);
        return outcome;
    }

    // Returns the listed attributes of the last file; nothing when they are too old.
    std::optional<DWORD> TakeListed()
    {
        const std::optional<DWORD> listed = std::exchange(m_listed, std::nullopt);
        return GetTickCount64() - m_enteredAt < ListIsGoodFor ? listed : std::nullopt;
    }

    COrbWatcher& m_watcher;
    WatcherState& m;
    std::optional<DWORD> m_listed;
    ULONGLONG m_enteredAt = 0;
};

int COrbWatcher::StartFirstTimeRun(int reload)
{
    const COrbFuncLog guard(L"COrbWatcher::StartFirstTimeRun");
    {
        const CSingleLock lock(m->firstTime.lock);
        if (m->firstTime.running || m->firstTime.stopping)
            return 0;
        m->enableFirstTime = 1;
        m->firstTime.running = 1;
        m->enumeration.Restart();
        m->skipped.Restart();
    }
    int started = 0;
    if (!Completes(L"The start of the first-time run", [&] { started = BeginFirstTimeRun(reload); }))
        m->due.MakeFull();
    if (!started)
        m->firstTime.running = 0;
    return started;
}

int COrbWatcher::BeginFirstTimeRun(int reload)
{
    m->due.BeginRun(m->Use());
    // A run that watches has noticed it at its start.
    if (!m->watching.IsSet())
        Completes(L"Reading the content of the selection",
                  [this] { m->NoticeSelection(SelectionNote::Of(m->SelectionFiles())); });
    m->due.FullBegins(); // this enumeration makes up for an earlier crash that was just noticed
    // An enumeration with the present rules is better than none, and none could begin any more.
    if (reload)
        Completes(L"The reload for the first-time run", [this] { ReloadForFirstTimeRun(); });
    m->selection.PrimaryWalks().ClearJunctionCache();
    const CSingleLock lock(m->firstTime.lock);
    if (!m->firstTime.stopping) {
        m->firstTime.thread = StartWatcherThread(&_FirstRunAllDrives, this);
        if (m->firstTime.thread)
            return 1;
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to start the first-time run: %d", GetLastError());
    }
    return 0;
}

void COrbWatcher::ReloadForFirstTimeRun()
{
    const CSingleLock primary(m->selection.primaryLock);
    const CSingleLock secondary(m->selection.secondaryLock);
    m->selection.primary.SetNotificationStore(&m->PendingCounters());
    ReloadRules(m->advancedFiltersPath);
    QueueRootsToWatch();
    FillPluginTable();
}

unsigned __stdcall COrbWatcher::_FirstRunAllDrives(void* watcher)
{
    const COrbFuncLog guard(L"COrbWatcher::_FirstRunAllDrives");
    const LockOrder::ThreadScope scope(FirstRunThreadName);
    SetThreadErrorMode(SEM_FAILCRITICALERRORS, nullptr);
    auto& self = *static_cast<COrbWatcher*>(watcher);
    const ActingForUser user(self.m->userToken);
    {
        std::optional<RunningEvent> event;
        Completes(L"Telling of the first-time run", [&] { event.emplace(self.m->firstTimeHidden != 0); });
        if (!user.Acts() || !Completes(L"The first-time run", [&] { self.EnumerateAllDrives(); }))
            self.m->due.MakeFull();
        const CSingleLock lock(self.m->firstTime.lock);
        event.reset(); // before another enumeration can begin, whose event has the same name
        self.m->firstTime.running = 0;
        self.m->firstTime.succeeded = 1;
    }
    return 0;
}

// Returns false when the drive does not hold the recorded volume now, whatever it held when the rules were loaded. A
// walk over another volume would hand its files out under the recorded paths, and a walk over a drive that is being
// removed would keep it in use.
bool COrbWatcher::MayBeWalked(const CString& root)
{
    {
        const CSingleLock lock(m->driveListLock);
        const auto known = m->drives.find(root);
        if (known != m->drives.end() && known->second.removed == 1)
            return false;
    }
    return IsReachable(root) && !m->volumes.IsOther(root);
}

void COrbWatcher::LeaveDriveOut(const CString& root)
{
    if (IsReachable(root))
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                          L"Initial scan started, but VolumeID doesn't match drive %s. Scan for this drive skipped.",
                          root.GetString());
    else
        g_OrbLog.Log(L"%s is away and is enumerated when it returns", root.GetString());
    m->enumeration.CountBeside(PathOutcome::Missing);
    m->skipped.Add(root, PathOutcome::Missing);
    m->due.ReportLeftOut(root, m->clock->Seconds());
}

void COrbWatcher::EnumerateAllDrives()
{
    if (!m->selectionLoaded) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The enumeration waits until the selection can be read");
        m->due.MakeFull();
        return;
    }
    DriveList drives;
    {
        const CSingleLock lock(m->selection.primaryLock);
        drives = m->selection.primary.GenerateDriveList();
    }
    for (const auto& [root, drive] : drives) {
        if (m->stop.IsSet())
            break;
        if (!MayBeWalked(root)) {
            LeaveDriveOut(root);
            continue;
        }
        FillDeleteMap(root);
        const bool whole = FirstRun(root);
        if (!m->stop.IsSet() && !MayBeWalked(root))
            LeaveDriveOut(root); // the drive or its volume went away meanwhile
        if (whole)
            continue;
        if (!m->stop.IsSet()) // a run that is told to end has not failed
            g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Error enumerating all files on disk, possible exception.");
        m->due.ReportLeftOut(root, m->clock->Seconds());
    }
    m->selection.PrimaryWalks().ClearJunctionCache();
    if (!m->stop.IsSet())
        TrimDeleteMap();
    if (m->stop.IsSet())
        m->due.MakeFull();
    else
        SignalFirstTimeCompletion();
}

void COrbWatcher::SignalFirstTimeCompletion()
{
    if (m->completionEvent.IsEmpty())
        return;
    const WithoutThreadToken asProcess; // the event may be closed to the user
    const KernelHandle event(OpenEventW(EVENT_ALL_ACCESS, FALSE, m->completionEvent));
    if (event)
        SetEvent(event.Get());
}

void COrbWatcher::NoteFirstTimeRunCompleted()
{
    Completes(L"Noting a completed enumeration", [this] { m->due.NoteFullCompleted(*m->clock); });
}

bool COrbWatcher::StartSingleDriveRun(const CString& root)
{
    const CSingleLock lock(m->firstTime.lock);
    if (m->firstTime.stopping)
        return false;
    auto& runs = m->firstTime.singleDriveRuns;
    std::erase_if(runs, [](const auto& run) { return IsSignalled(run.second.Get()); });
    if (runs.contains(root))
        return false;
    // Directories that any enumeration has seen must be walked again. An enumeration that is still running may meet
    // some of them twice.
    m->selection.PrimaryWalks().ClearJunctionCache();
    auto run = std::make_unique<SingleDriveRun>(SingleDriveRun{this, root});
    const auto place = runs.try_emplace(root).first; // before the thread begins, because the thread must be waited for
    ++m->firstTime.singleDriveRunsGoing;
    place->second = StartWatcherThread(&_FirstRunSingleDrive, run.get());
    if (!place->second) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to start the run over %s: %d", root.GetString(),
                          GetLastError());
        --m->firstTime.singleDriveRunsGoing;
        runs.erase(place);
        return false;
    }
    static_cast<void>(run.release()); // the thread owns it
    return true;
}

unsigned __stdcall COrbWatcher::_FirstRunSingleDrive(void* driveAndWatcher)
{
    const COrbFuncLog guard(L"COrbWatcher::_FirstRunSingleDrive");
    const LockOrder::ThreadScope scope(FirstRunThreadName);
    SetThreadErrorMode(SEM_FAILCRITICALERRORS, nullptr);
    const std::unique_ptr<SingleDriveRun> run(static_cast<SingleDriveRun*>(driveAndWatcher));
    COrbWatcher& self = *run->watcher;
    const ActingForUser user(self.m->userToken);
    bool whole = false;
    const auto look = [&] {
        if (!user.Acts())
            return;
        if (!self.MayBeWalked(run->root)) {
            self.LeaveDriveOut(run->root);
            whole = true;
            return;
        }
        self.FillDeleteMap(run->root);
        if (!self.FirstRun(run->root))
            return;
        if (!self.m->stop.IsSet() && !self.MayBeWalked(run->root))
            self.LeaveDriveOut(run->root); // the drive or its volume went away meanwhile
        if (!self.m->stop.IsSet())
            self.TrimDeleteMap();
        whole = true;
    };
    Completes(L"The run over one drive", look);
    if (!whole || self.m->stop.IsSet())
        self.m->due.MakeFull();
    --self.m->firstTime.singleDriveRunsGoing;
    return whole ? 0 : RunFailed;
}

EnumerationProgress COrbWatcher::GetEnumerationProgress()
{
    // Read before the counts: an enumeration that has ended has counted everything.
    const int running = m->firstTime.running + m->firstTime.singleDriveRunsGoing;
    EnumerationProgress progress;
    Completes(L"GetEnumerationProgress", [&] { progress = m->enumeration.Read(); });
    progress.running = running;
    return progress;
}

SkippedPaths COrbWatcher::TakeSkippedPaths()
{
    SkippedPaths skipped;
    Completes(L"TakeSkippedPaths", [&] { skipped = m->skipped.Take(); });
    return skipped;
}

bool COrbWatcher::FirstRun(const wchar_t* drive)
{
    const COrbFuncLog guard(L"COrbWatcher::FirstRun");
    return EnumerateIncludedFiles(drive, L"*", true);
}

bool COrbWatcher::EnumerateIncludedFiles(const wchar_t* drive, const wchar_t* pattern, bool checkRules)
{
    const ActingForUser user(m->userToken);
    bool whole = false;
    if (!user.Acts())
        return false;
    Completes(L"EnumerateIncludedFiles", [&] { whole = EnumerateDrive(drive, pattern, checkRules); });
    return whole;
}

bool COrbWatcher::EnumerateDrive(const wchar_t* drive, const wchar_t* pattern, bool checkRules)
{
    if (checkRules) {
        std::vector<CString> files;
        bool onlyFiles = false;
        {
            const CSingleLock lock(m->selection.primaryLock);
            if (!m->selection.primary.IsDriveIncludeRules(drive))
                return true;
            onlyFiles = m->selection.primary.IsDriveIncludeOnlyFiles(drive);
            if (onlyFiles)
                m->selection.primary.GetExplicitFiles(drive, files);
        }
        for (const CString& file : files) {
            if (m->stop.IsSet())
                return false;
            FileFoundCallback(file, std::numeric_limits<unsigned __int64>::max());
        }
        if (onlyFiles)
            return true;
    }
    // Copied, because the rules may be edited while the walk runs.
    ScanLists lists;
    {
        const CSingleLock lock(m->selection.primaryLock);
        lists = m->selection.primary.CollectScanLists(drive);
    }
    EnumerationWalk walk(*this);
    return m->selection.PrimaryWalks().ScanSelection(lists, pattern, m->backupHiddenFiles, &walk,
                                                     static_cast<HANDLE>(m->stop), &walk);
}

void COrbWatcher::FileFoundCallback(const wchar_t* path, unsigned __int64)
{
    const PathOutcome outcome = TakeFound(path, std::nullopt);
    // Only paths that rules name come here. A folder in the place of the file is not selected by its rule.
    if (outcome == PathOutcome::Missing || outcome == PathOutcome::NotSelected)
        m->skipped.Add(path, PathOutcome::Missing);
    else if (outcome == PathOutcome::Unreadable || outcome == PathOutcome::TooLong)
        m->skipped.Add(path, outcome);
    m->enumeration.CountFile(outcome);
}

void COrbWatcher::FolderFoundCallback(const wchar_t* path)
{
    m->enumeration.CountFolder(TakeFound(path, std::nullopt));
}

// Handles a file that the walk has found. A pending change needs no second one, unless it is a deletion: the file
// exists.
PathOutcome COrbWatcher::TakeFound(const wchar_t* path, std::optional<DWORD> listed)
{
    NotificationPtr pending;
    {
        const CSingleLock lock(m->storeLock);
        pending = m->store.Find(path);
    }
    PathOutcome outcome = PathOutcome::Waiting;
    if (!pending || pending->kind == NotificationKind::Deleted)
        outcome = m->changeHandler.ProcessChangedFile(path, false, false, listed);
    // A walk may report files that are gone since they were listed, and rules may name files that do not exist.
    if (IsInDeleteMap(path) && (outcome == PathOutcome::Unchanged || !m->IsGone(path))) {
        m->due.Found(WithoutBackslash(path));
        RemoveFromDeleteMap(path);
    }
    if (outcome == PathOutcome::Unreadable && MayBeOpened(path)) // otherwise it was said already
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"%s cannot be looked at", path);
    return outcome;
}
