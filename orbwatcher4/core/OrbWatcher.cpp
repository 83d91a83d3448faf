// The facade of the watcher: passes calls on to its parts.
#include "orbwatcher4/OrbWatcher.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/WatcherParts.h"
#include "orbwatcher4/core/environment/ActingForUser.h"
#include "orbwatcher4/core/environment/BackupRunning.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/environment/FileFindData.h"
#include "orbwatcher4/core/intake/Explain.h"
#include "orbwatcher4/core/intake/RuleAddition.h"
#include "orbwatcher4/core/pending/PendingList.h"
#include "orbwatcher4/core/pending/PendingRemoval.h"
#include "orbwatcher4/core/selection/PluginTable.h"
#include "orbwatcher4/core/selection/SelectionMerge.h"
#include "support/Backslash.h"

#include <cwctype>
#include <utility>

COrbWatcher::COrbWatcher(bool useDrDeleteMap) : m(std::make_unique<WatcherParts>(useDrDeleteMap)) {}
COrbWatcher::~COrbWatcher() = default;

// --- Life. ---

void COrbWatcher::Resume()
{
    m->due.BeginRun(m->config.Use());
    m->intake.replay.Start();
}

int COrbWatcher::StartWatch()
{
    const COrbFuncLog guard(L"COrbWatcher::StartWatch");
    m->Start();
    return 1;
}

int COrbWatcher::AbortWatching()
{
    m->Stop();
    return 1;
}

void COrbWatcher::DeInit() { m->End(); }
bool COrbWatcher::IsPendingKept() const { return m->dump.IsKept(); }
bool COrbWatcher::IsCrashNoticed() const { return m->due.IsCrashNoticed(); }
bool COrbWatcher::WaitUntilReady(DWORD milliseconds) { return m->supervisor.WaitUntilReady(milliseconds); }

// Returns true when a selection was read, which is more than that no error occurred.
bool COrbWatcher::LoadSelection()
{
    bool loaded = false;
    const bool whole = Completes(L"Loading the selection", [&] { loaded = m->LoadSelection(); });
    return whole && loaded;
}

RuleFindings COrbWatcher::TakeSelectionFindings()
{
    RuleFindings findings;
    Completes(L"TakeSelectionFindings", [&] { findings = m->selection.findings.Take(); });
    return findings;
}

std::vector<CString> COrbWatcher::GetWatchedRoots()
{
    std::vector<CString> roots;
    Completes(L"GetWatchedRoots", [&] { roots = m->drives.WatchedRoots(); });
    return roots;
}

// --- State. ---

int COrbWatcher::IsInitilized() { return m->lifecycle.initialized; }
int COrbWatcher::IsEnableFirstTime() { return m->enumerator.WasEverStarted(); }
int COrbWatcher::IsFirstTimeEnumRunning() { return m->enumerator.IsShownAsRunning(); }
int COrbWatcher::IsFirstTimeFinshedsuccessfully() { return m->enumerator.HasCompleted(); }
bool COrbWatcher::IsBackupHiddenFiles() { return m->config.hiddenFiles; }
__int64 COrbWatcher::GetTotalFilesInMem() { return m->pending.Count(); }

int COrbWatcher::IsBackupRunning() { return ::IsBackupRunning(); }

PathExplanation COrbWatcher::Explain(const wchar_t* path)
{
    PathExplanation explanation;
    Completes(L"Explain", [&] { explanation = ExplainPath(m->intake.handler, m->selection, path); });
    return explanation;
}

// --- Pending files. ---

bool COrbWatcher::GetSingleNotification(void* sameRunIds, QueueDatum& out)
{
    return GetSingleNotification(sameRunIds, out, nullptr);
}

bool COrbWatcher::GetSingleNotification(void* sameRunIds, QueueDatum& out, FileIdentity* identity)
{
    const COrbFuncLog guard(L"COrbWatcher::GetSingleNotification");
    return m->handOut.Take(static_cast<std::set<std::uint64_t>*>(sameRunIds), out, identity);
}

bool COrbWatcher::AddSingleNotification(const wchar_t* path)
{
    const ActingForUser user(m->config.userToken);
    const auto add = [&] {
        if (IsReachable(path) && !m->selection.volumes.IsOther(path))
            m->intake.handler.ProcessChangedFile(path, Arrival::Found);
        else
            m->intake.handler.KeepUnreachable(path);
    };
    if (!user.Acts() || !Completes(L"Adding a file", add))
        m->due.MakeFull();
    return true;
}

void COrbWatcher::LookAgainAfterRecording(const std::vector<CString>& paths)
{
    const ActingForUser user(m->config.userToken);
    const auto look = [&] {
        for (const CString& path : paths)
            if (m->selection.IsGone(WithoutBackslash(path)))
                m->intake.handler.OnFileRemoved(WithoutBackslash(path));
    };
    if (!user.Acts() || !Completes(L"Looking again at recorded files", look))
        m->due.MakeFull();
}

void COrbWatcher::ClearNotifications()
{
    Completes(L"ClearNotifications", [this] { m->pending.Clear(); });
}

AddQueueItemResult COrbWatcher::AddNewQueueItem(const wchar_t* xmlPath, bool deleteWhenDone,
                                                std::vector<ExcludedInfo>* excluded, int mergeOnly)
{
    const COrbFuncLog guard(L"COrbWatcher::AddNewQueueItem");
    return m->intake.addition.Add(xmlPath, deleteWhenDone, excluded, mergeOnly != 0);
}

int COrbWatcher::IsOnlineInstantRunAllowed(const wchar_t* path)
{
    return m->intake.handler.Instant().IsWantedFor(path);
}
void COrbWatcher::SignalInstantRunEvent() { m->intake.handler.Instant().Signal(); }

bool COrbWatcher::ExportFilesToXML(const wchar_t* path, int& count)
{
    const COrbFuncLog guard(L"COrbWatcher::ExportFilesToXML");
    const int most = std::exchange(count, 0);
    if (m->pending.Count() == 0) {
        g_OrbLog.Log(L"No files to export to pending list. Exiting.");
        return false;
    }
    Completes(L"The export of the pending list", [&] { PendingList::Add(m->pending, m->config, path, most, count); });
    return true;
}

bool COrbWatcher::IsPendingList(const wchar_t* path)
{
    bool isList = false;
    Completes(L"IsPendingList", [&] { isList = PendingList::IsList(path); });
    return isList;
}

// --- Deleted files. ---

int COrbWatcher::ImmediateProcessDeletedFiles()
{
    m->deletions.ProcessNow();
    return 0;
}

void COrbWatcher::SetDeletionListener(std::function<void(const DeletionRecord&)> listener)
{
    m->deletions.SetListener(std::move(listener));
}

bool COrbWatcher::IsAbortExcludeDelete()
{
    bool aborted = false;
    Completes(L"IsAbortExcludeDelete", [&] { aborted = PendingRemoval::IsAborted(); });
    return aborted;
}

void COrbWatcher::RemoveChildNotificationsEx(CString directory)
{
    const COrbFuncLog guard(L"COrbWatcher::RemoveChildNotificationsEx");
    g_OrbLog.Log(L"Scaning notifications for matching paths %s", directory.GetString());
    Completes(L"RemoveChildNotificationsEx",
              [&] { PendingRemoval::RemoveBelow(m->pending, WithBackslash(directory)); });
}

void COrbWatcher::ForceRemoveItemNotifications(const wchar_t* path, bool addBackslash,
                                               const std::set<unsigned __int64>& removedMasks,
                                               const std::set<unsigned __int64>& skippedMasks)
{
    const COrbFuncLog guard(L"COrbWatcher::ForceRemoveItemNotifications");
    g_OrbLog.Log(L"Scaning notifications for matching paths %s", path);
    Completes(L"ForceRemoveItemNotifications", [&] {
        const CString prefix = addBackslash ? WithBackslash(path) : CString(path);
        PendingRemoval::RemoveByMasks(m->pending, prefix, removedMasks, skippedMasks);
    });
}

void COrbWatcher::RemoveChildNotifications(CString directory)
{
    const COrbFuncLog guard(L"COrbWatcher::RemoveChildNotifications");
    const ActingForUser user(m->config.userToken);
    if (user.Acts())
        Completes(L"RemoveChildNotifications",
                  [&] { PendingRemoval::RemoveOnDisk(m->selection, m->pending, directory); });
}

void COrbWatcher::TrimDeleteMap() { m->enumerator.Found().Unmet().ReportAll(); }
void COrbWatcher::RemoveFromDeleteMap(const wchar_t* path) { m->enumerator.Found().Unmet().Remove(path); }

// --- First-time run and drives. ---

int COrbWatcher::StartFirstTimeRun(int reload) { return m->enumerator.Start(reload != 0); }
EnumerationProgress COrbWatcher::GetEnumerationProgress() { return m->enumerator.Progress(); }

SkippedPaths COrbWatcher::TakeSkippedPaths()
{
    SkippedPaths skipped;
    Completes(L"TakeSkippedPaths", [&] { skipped = m->enumerator.Found().Skipped().Take(); });
    return skipped;
}

void COrbWatcher::NoteFirstTimeRunCompleted() { m->enumerator.NoteCompleted(); }
bool COrbWatcher::FirstRun(const wchar_t* drive) { return m->enumerator.Roots().EnumerateSelected(drive); }

bool COrbWatcher::EnumerateIncludedFiles(const wchar_t* drive, const wchar_t* pattern, bool checkRules)
{
    return m->enumerator.Roots().Enumerate(drive, pattern, checkRules);
}

void COrbWatcher::UpdateDrive(const wchar_t* drive, WatcherEnum::DriveAction action)
{
    const auto update = [&] {
        const CString root = CString(drive).MakeLower();
        if (action == WatcherEnum::DriveReappeared)
            m->drives.Move(root);
        else if (action == WatcherEnum::DriveRemoved)
            m->drives.Remove(root);
    };
    if (!Completes(L"The update of a drive", update))
        m->due.MakeFull();
}

bool COrbWatcher::GetWatchedDrives(CString& out)
{
    Completes(L"GetWatchedDrives", [&] {
        CString letters;
        for (const auto& [root, drive] : m->selection.Drives())
            if (root.GetLength() > 2 && root[1] == L':')
                letters += static_cast<wchar_t>(towupper(root[0]));
        out += letters;
    });
    return true;
}

void COrbWatcher::SetRescanListener(std::function<void(const CString& root, const char* reason)> listener)
{
    m->supervisor.SetRescanListener(std::move(listener));
}

// --- Plugin table and merging. ---

bool COrbWatcher::FillPluginTable()
{
    bool loaded = false;
    Completes(L"FillPluginTable", [&] { loaded = ::FillPluginTable(m->config); });
    return loaded;
}

void COrbWatcher::CleanAddedFilters(FilterList& filters)
{
    Completes(L"CleanAddedFilters", [&] { SelectionMerge::KeepFirstTexts(filters); });
}

void COrbWatcher::XMLMerge(const wchar_t* path, FilterList& filters)
{
    Completes(L"XMLMerge", [&] { SelectionMerge::MergeIntoFile(path, filters); });
}

void COrbWatcher::XMLMerge(CMarkup& document, FilterList& filters)
{
    Completes(L"XMLMerge", [&] { SelectionMerge::Merge(document, filters); });
}

// --- Reports of a walk. ---

void COrbWatcher::FileFoundCallback(const wchar_t* path, unsigned __int64) { m->enumerator.Found().TakeNamed(path); }
bool COrbWatcher::ProgressCallback() { return m->enumerator.Found().GoOn(); }

void COrbWatcher::FolderFoundCallback(const wchar_t* path)
{
    FoundFiles& found = m->enumerator.Found();
    found.Tally().CountFolder(found.Take(path, std::nullopt));
}
