/// @file
/// COrbWatcher: the watcher as a backup service drives it.
///
/// A service makes one object, calls Init, sets paths and options, calls Resume and
/// StartWatch, takes pending files with GetSingleNotification, and ends with
/// AbortWatching, DeInit and destruction. Setters belong between Init and Resume.
/// Everything else may be called from any thread while the watcher runs. No
/// exception leaves an operation but the constructor; without memory a setting stays
/// as it was, and what could not be taken in makes a full enumeration due. Failures
/// of the system are logged and the work goes on with what is left.
///
/// The watcher's own threads, and the operations that take in or hand out files,
/// look at the user's files with the rights of SetUserToken's user; a caller's
/// thread has its own rights back when an operation returns. When the system refuses
/// the token, such an operation ends instead of looking with the rights of the
/// service, and what it leaves out is due. Several watchers of one process share one
/// thread for changes, which takes the rights of each one's user in turn.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/EnumerationProgress.h"
#include "orbwatcher4/Export.h"
#include "orbwatcher4/QueueDatum.h"
#include "orbwatcher4/SmartScanCaller.h"
#include "orbwatcher4/core/Notification.h"
#include "orbwatcher4/filter/Filter.h"

#include <windows.h>

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <vector>

class CMarkup;
class ChangeHandler;
class HandOut;
class OnlineCallbackHandler;
class WatchLoop;
struct WatcherState;

/// What became of new rules.
enum AddQueueItemResult : int {
    RulesQueued = 0,     ///< the rules are held, and what they select is pending
    RulesNotLoaded = 1,  ///< the file is missing or could not be loaded, or its rules could not be merged
    ExclusionsFound = 2, ///< some of the rules are exclusions that the caller must see
};

/// A new rule that excludes.
struct ExcludedInfo {
    std::int32_t kind = 0; ///< 1 folder, 0 file
    CString path;          ///< of the rule
};

/// How much of the machine the enumeration may take. Full and Automatic: no pauses.
enum CPUSpeedMode : int { CPUSpeedFull = 0, CPUSpeedReduced = 1, CPUSpeedAutomatic = 2, CPUSpeedLow = 3 };

/// Why a path is selected or not.
struct PathExplanation {
    /// Where a rule comes from.
    enum class Source { Data, AutoExclude, Advanced, Secondary };
    /// A rule that took part.
    struct Rule {
        FilterPtr rule; ///< shared with the watcher; not to be changed
        Source source;  ///< the file that it was read from
    };

    /// What settled it: the rules, or something that comes before them.
    enum class Reason { Rules, TooLong, BackupFolder, OwnFile };

    CString path;                         ///< as the rules saw it
    Reason reason = Reason::Rules;        ///< what settled it
    InclusionType decision = NotIncluded; ///< what a change of the path would meet
    InclusionType ordinary = NotIncluded; ///< before the advanced rules
    bool advancedAsked = false;           ///< whether they were asked
    InclusionType advanced = Included;    ///< only when it was asked
    std::vector<Rule> rules;              ///< those that took part, in order
    int deciding = -1;                    ///< index into rules; -1: no rule decided
};

/// A delete record that was written into the index.
struct DeletionRecord {
    CString path;            ///< of the item, without a trailing backslash
    unsigned __int64 id = 0; ///< of the item
    __int32 job = 0;         ///< number of the job
};

/// A watcher. See the top of this file for the order of calls and for threads.
class ORBWATCHER4_API COrbWatcher final : private SmartScanCaller
{
public:
    /// useDrDeleteMap: work with the index's map of deleted paths for disaster-recovery backups.
    /// Throws std::system_error or std::bad_alloc when the system has nothing left for it.
    explicit COrbWatcher(bool useDrDeleteMap);
    /// The watcher must have been stopped.
    ~COrbWatcher();
    COrbWatcher(const COrbWatcher&) = delete;
    COrbWatcher& operator=(const COrbWatcher&) = delete;

    // --- Life. ---

    /// Empties the paths of selection, index, queue and destination, and forgets earlier runs. Before anything else.
    void Init();
    /// Replays what the last run left pending in "watcher_dump.bin" in the data folder. The index's cache should be
    /// loaded: without it nobody knows whether what is gone was backed up, and a full enumeration becomes due. The
    /// dump is kept until a selection has been read, and replayed then.
    void Resume();
    /// Loads the selection and starts watching. Always 1; WaitUntilReady tells when all roots are read. A selection
    /// that cannot be read is tried again, after a minute at the latest; until then nothing that is due is used up.
    int StartWatch();
    /// Ends every thread the watcher has started. Always 1.
    int AbortWatching();
    /// Stops, writes what is pending to "watcher_dump.bin", and empties the object.
    void DeInit();
    /// False when the last DeInit could not write everything; a full enumeration is then due.
    bool IsPendingKept() const;
    /// Loads the selection into both filters as StartWatch does; a running watcher then watches its new drives,
    /// and those that the rules name no more no longer. False when there is no selection, or a file of it could not be
    /// loaded: the rules that this file had brought stay then.
    bool LoadSelection();
    /// True when the watcher runs and has tried to watch every drive of the selection; false after the time.
    bool WaitUntilReady(DWORD milliseconds);
    /// The roots whose changes are being read, in order.
    std::vector<CString> GetWatchedRoots();

    // --- Configuration. Paths are copied. ---

    /// Kept as it was when the text is empty or the file does not exist.
    void SetDataXmlPath(const wchar_t* path);
    /// The file of advanced filters; as SetDataXmlPath.
    void SetAdvancedFiltersPath(const wchar_t* path);
    /// data: taken when not empty. data2, advanced: taken when they exist, emptied otherwise.
    void SetDataXMLFiles(const wchar_t* data, const wchar_t* data2, const wchar_t* advanced);
    /// secondary: taken when not empty, emptied otherwise. secondaryExtra: taken when it exists, emptied otherwise.
    void SetSecondaryXMLFile(const wchar_t* secondary, const wchar_t* secondaryExtra);
    /// The service's own database: its changes are not watched.
    void SetQueueDB(const wchar_t* path);
    /// The index database, which deletions are recorded in.
    void SetIndexDB(const wchar_t* path);
    /// The folder that transactions of deletions are exported to.
    void SetDestBackupFolderDB(const wchar_t* path);
    /// ";"-separated patterns of file names; null leaves the first one as it was.
    void SetInstantRunExt(const wchar_t* patterns);
    /// ";"-separated patterns of names of files that are handed out as block-level backups.
    void SetBlockLevelExt(const wchar_t* patterns);
    /// Whether the overlay service is told of statuses.
    void SetOverlay(bool on);
    /// Neither duplicated nor closed: the token must outlive the watcher.
    void SetUserToken(HANDLE token);
    /// Non-zero: IsFirstTimeEnumRunning answers 0 during a run.
    void SetFirstTimeWatcherHide(int hidden);
    /// Whether hidden files are backed up.
    void EnableBackupHiddenFiles(bool enable);
    /// Kept; nothing depends on it.
    void SetBackupFrequency(DWORD frequency);
    /// How much of the machine an enumeration may take; at once, also while one runs.
    void UpdateThreadsPriority(CPUSpeedMode mode);
    /// Which files were uploaded, and where transactions go. Shared; one exists from the beginning on.
    void SetOnlineHandler(std::shared_ptr<OnlineCallbackHandler> handler);
    /// The name of an event that is set when a run over all drives was complete.
    void SetFirstTimeCompletionEvent(const wchar_t* name);
    /// 64-bit keys (PathHash64) of file names, extensions and folders that are no candidates for deduplication.
    void SetIgnoredDedup(const std::set<unsigned __int64>& names, const std::set<unsigned __int64>& extensions,
                         const std::set<unsigned __int64>& folders);

    // --- State. ---

    /// 1 after Init, 0 after DeInit.
    int IsInitilized();
    /// 1 once a run over all drives has been started since Init.
    int IsEnableFirstTime();
    /// 1 during a run over all drives that is not hidden.
    int IsFirstTimeEnumRunning();
    /// 1 when the last run over all drives has come to its end.
    int IsFirstTimeFinshedsuccessfully();
    /// As set by EnableBackupHiddenFiles.
    bool IsBackupHiddenFiles();
    /// How many paths are pending, deletions among them.
    __int64 GetTotalFilesInMem();
    /// 1 while a backup service holds its mutex.
    static int IsBackupRunning();
    /// The same decision that a change of the path would meet, and how it came about.
    PathExplanation Explain(const wchar_t* path);

    // --- Pending files. ---

    /// Hands out one pending file; false when there is none to be had now. A file that nobody may look at stays
    /// pending. sameRunIds: null, or a std::set<unsigned __int64> in which the caller keeps the ids of the current
    /// backup run.
    bool GetSingleNotification(void* sameRunIds, QueueDatum& out);
    /// The same, and says which file it is, so that the caller can tell whether it opens that one: a folder on the way
    /// may be swapped for a link meanwhile. `identity` may be null.
    bool GetSingleNotification(void* sameRunIds, QueueDatum& out, FileIdentity* identity);
    /// Treats the path as changed: the rules decide whether it becomes pending. Always true.
    bool AddSingleNotification(const wchar_t* path);
    /// Drops all that is pending.
    void ClearNotifications();
    /// Adds the rules of a file and queues what they select. mergeOnly non-zero: the rules only. Rules that cannot be
    /// merged into the selection are not taken at all (RulesNotLoaded), and their file is kept.
    AddQueueItemResult AddNewQueueItem(const wchar_t* xmlPath, bool deleteWhenDone, std::vector<ExcludedInfo>* excluded,
                                       int mergeOnly);
    /// 1 for a file whose name matches SetInstantRunExt.
    int IsOnlineInstantRunAllowed(const wchar_t* path);
    /// Wakes who waits for files that are to be backed up at once.
    void SignalInstantRunEvent();

    // --- Deleted files. ---

    /// Writes a delete record for every pending deletion whose file is still gone, and for what the index holds
    /// below it, and exports them. What cannot be written goes on waiting, and so do all without the index's cache.
    /// Always 0.
    int ImmediateProcessDeletedFiles();
    /// Told of each record after it was written, on the thread that processed it, with the deleted-files lock held:
    /// it must not call the watcher. An empty function takes it back. Before watching.
    void SetDeletionListener(std::function<void(const DeletionRecord&)> listener);
    /// Pending files below a folder, which ends in a backslash, are dropped: those that the disk shows. Links to
    /// folders are entered, each target once.
    void RemoveChildNotifications(CString directory);
    /// The same for all that is pending below the folder.
    void RemoveChildNotificationsEx(CString directory);
    /// Drops what is pending and begins with the path. removedMasks: only endings whose key is in it. Otherwise
    /// skippedMasks: all but those. A key is PathHash64 of the lower-cased ending with its dot.
    void ForceRemoveItemNotifications(const wchar_t* path, bool addBackslash,
                                      const std::set<unsigned __int64>& removedMasks,
                                      const std::set<unsigned __int64>& skippedMasks);
    /// Reports what is left in the index library's map of deleted paths, is selected and is gone, as removed.
    void TrimDeleteMap();
    /// The path is there: no deletion will be reported.
    void RemoveFromDeleteMap(const wchar_t* path);
    /// True while somebody asks the long removals to end.
    bool IsAbortExcludeDelete();

    // --- First-time run and drives. ---

    /// Enumerates all drives on a thread of its own; reload non-zero: the selection is loaded anew before. 0: a run
    /// is going on, or the watcher is stopping.
    int StartFirstTimeRun(int reload);
    /// How the enumerations go. Cheap.
    EnumerationProgress GetEnumerationProgress();
    /// A service calls it when the completion event comes: the time is written that the rule for the next run goes
    /// by, unless something was lost since the run began.
    void NoteFirstTimeRunCompleted();
    /// Enumerates one drive on the calling thread; false when it was aborted.
    bool FirstRun(const wchar_t* drive);
    /// checkRules: only what the rules of the drive include. False when it was aborted.
    bool EnumerateIncludedFiles(const wchar_t* drive, const wchar_t* pattern, bool checkRules);
    /// DriveReappeared: rules of the volume follow it to this root. DriveRemoved: returns when it is no longer
    /// watched.
    void UpdateDrive(const wchar_t* drive, WatcherEnum::DriveAction action);
    /// Appends the letters of the selection's drives. Always true.
    bool GetWatchedDrives(CString& out);
    /// Told on the watch thread, with no lock held, when a root is enumerated again, and why ("lostChanges",
    /// "driveReturned", "watchedAgain", "newDrive"). It may call the watcher, but for what waits for that thread:
    /// StartWatch, AbortWatching, DeInit and UpdateDrive. Before watching.
    void SetRescanListener(std::function<void(const CString& root, const char* reason)> listener);

    // --- Plugin table, merging and export. ---

    /// Makes the index's plugin table that of the data file. False when the data file cannot be loaded; true, with an
    /// error in the log, when the index cannot be written.
    bool FillPluginTable();
    /// Of rules with the same text, without regard to case, only the first one keeps it.
    void CleanAddedFilters(FilterList& filters);
    /// Puts the text of each rule in the place of the first item with its path, which stays when its flags hold 0x1000
    /// or 0x400, else behind the last item. The texts are used up, unless the file could not be written. An existing
    /// file that cannot be read is kept with the ending ".bad"; one that is malformed stays as it is.
    void XMLMerge(const wchar_t* path, FilterList& filters);
    /// The same with a document in memory, which belongs to the caller.
    void XMLMerge(CMarkup& document, FilterList& filters);
    /// Adds what is pending to a list (XML; docs/pending-list.md), deletions and internal files left out. count: the
    /// most files; then how many were added. False when nothing at all is pending. A list that cannot be written is
    /// in the log only.
    bool ExportFilesToXML(const wchar_t* path, int& count);

private:
    friend class ChangeHandler;
    friend class HandOut;
    friend class WatchLoop;
    friend struct OrbWatcherObject; // the C functions, which tell exceptions as codes
    friend class WatcherAccess;     // tests

    void FileFoundCallback(const wchar_t* path, unsigned __int64 size) override;
    bool ProgressCallback() override;
    void FolderFoundCallback(const wchar_t* path) override;
    class EnumerationWalk;
    // `listed`: the attributes, where a folder has just been read that shows them.
    PathOutcome TakeFound(const wchar_t* path, std::optional<DWORD> listed);
    bool IsInDeleteMap(const wchar_t* path);

    static unsigned __stdcall _WatchThread(void* watcher);
    static unsigned __stdcall _FirstTimeAutoExOverlayUpdater(void* watcher);
    static unsigned __stdcall _ProcessDeletedFiles(void* watcher);
    static unsigned __stdcall _FirstRunAllDrives(void* watcher);
    static unsigned __stdcall _FirstRunSingleDrive(void* driveAndWatcher);

    bool TakePending(void* sameRunIds, QueueDatum& out, FileIdentity* identity);
    PathExplanation ExplainPath(const wchar_t* path);
    int UsesBlockLevel(const wchar_t* path, unsigned __int64 size);
    bool IsIgnoredDedupPath(const wchar_t* path);
    bool ReloadRules(const wchar_t* advancedOfSecondary = nullptr);
    bool TryLoadSelection();
    void WatchNothing(DWORD error);
    bool CopyPlugins();
    void QueueRootsToWatch();
    int BeginFirstTimeRun(int reload);
    void ReloadForFirstTimeRun();
    bool EnumerateDrive(const wchar_t* drive, const wchar_t* pattern, bool checkRules);
    bool MayBeWalked(const CString& root);
    void LeaveDriveOut(const CString& root);
    void EnumerateAllDrives();
    void SignalFirstTimeCompletion();
    bool StartSingleDriveRun(const CString& root);
    void EndRuns();
    bool IsAnyThreadRunning();
    std::vector<CString> PendingFiles(int most);
    void MoveDrive(const CString& root);
    void RemoveDrive(const CString& root);
    void StopThreads();
    struct TakenRules {
        bool loaded = false;
        bool merged = true; // into the selection file
        FilterList accepted;
    };
    TakenRules TakeNewRules(const wchar_t* xmlPath);
    void AcceptRules(const FilterList& loaded, FilterList& accepted);
    AddQueueItemResult TakeAndQueueRules(const wchar_t* xmlPath, bool deleteWhenDone,
                                         std::vector<ExcludedInfo>* excluded, int mergeOnly);
    void ExportPending(const wchar_t* path, int most, int& count);
    bool QueueAcceptedRules(const FilterList& accepted, std::vector<ExcludedInfo>* excluded, bool mayLook);
    void MarkExclusions(const FilterList& accepted);
    void RequestDrive(const wchar_t* path);
    void RemovePending(const CString& prefix, const std::function<bool(const CString&)>& chosen);
    void RemovePendingOnDisk(const CString& directory);
    void RemovePendingFile(CString path);
    void ReportAllVanished();
    bool JudgeVanished(const CString& path);
    bool IsUnknown(const CString& path);
    void FillDeleteMap(const CString& root);
    void ReplayWaitingDump();
    void ReplayPending();
    void ReplayDump();
    void ReplayLine(const CString& line);
    void DistrustDump(DWORD error);
    void ReplayRemoval(const CString& path);
    void DumpStore();

    std::unique_ptr<WatcherState> m;
};
