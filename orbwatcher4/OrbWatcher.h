/// @file
/// COrbWatcher: the watcher, as a backup service uses it.
///
/// A service makes one object, calls Init, sets paths and options, calls Resume and StartWatch, takes pending files
/// with GetSingleNotification, and ends with AbortWatching, DeInit and destruction. Setters must be called between Init
/// and Resume. Any thread may call all other operations while the watcher runs. Only the constructor throws. When
/// memory runs out, a setting stays as it was, and a change that could not be taken in makes a full enumeration due.
/// Failures of the system are logged, and the watcher goes on with what is left.
///
/// A data folder belongs to the selection and the index of the first watcher that uses it; the settings remember them
/// (docs/settings.md). A watcher of another selection or index leaves the dump and the marks in the folder alone, and
/// keeps nothing there: its IsPendingKept is false, and a full enumeration is due at each of its starts.
///
/// The watcher's own threads, and the operations that take in or hand out files, look at the user's files with the
/// rights of SetUserToken's user. A caller's thread has its own rights back when an operation returns. When the system
/// refuses the token, such an operation ends; it does not go on with the rights of the service, and what it leaves out
/// becomes due. Several watchers of one process share one notifier thread, which takes the rights of each watcher's
/// user in turn.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/AddedRules.h"
#include "orbwatcher4/DeletionRecord.h"
#include "orbwatcher4/EnumerationProgress.h"
#include "orbwatcher4/Export.h"
#include "orbwatcher4/PathExplanation.h"
#include "orbwatcher4/QueueDatum.h"
#include "orbwatcher4/SmartScanCaller.h"
#include "orbwatcher4/filter/Filter.h"
#include "orbwatcher4/filter/RuleFinding.h"

#include <windows.h>

#include <functional>
#include <memory>
#include <set>
#include <vector>

class CMarkup;
class OnlineCallbackHandler;
struct WatcherParts;

/// The share of the machine that an enumeration may use. Full and Automatic: no pauses.
enum CPUSpeedMode : int { CPUSpeedFull = 0, CPUSpeedReduced = 1, CPUSpeedAutomatic = 2, CPUSpeedLow = 3 };

/// A watcher. See the top of this file for the order of calls and for threads.
class ORBWATCHER4_API COrbWatcher final : private SmartScanCaller
{
public:
    /// useDrDeleteMap: works with the index's map of deleted paths for disaster-recovery backups. Throws
    /// std::system_error or std::bad_alloc when the system has no resources left.
    explicit COrbWatcher(bool useDrDeleteMap);
    /// Ends every thread that the watcher started. DeInit must come first to keep pending files.
    ~COrbWatcher();
    COrbWatcher(const COrbWatcher&) = delete;
    COrbWatcher& operator=(const COrbWatcher&) = delete;

    // --- Life. ---

    /// Empties the paths of the data file, the automatic exclusions, the index, the queue, the destination and the own
    /// files, and forgets earlier enumerations. The files of the advanced filters and of the secondary selection stay.
    /// Call it before anything else.
    void Init();
    /// Replays what the last run left pending in "watcher_dump.bin" in the data folder. Load the index's cache first:
    /// without it the watcher cannot tell whether a deleted item was backed up, and a full enumeration becomes due. The
    /// dump is kept until a selection has been read, and is replayed then.
    void Resume();
    /// Loads the selection and starts watching. Always returns 1; WaitUntilReady tells when all roots have been tried.
    /// If the selection cannot be read, the watcher tries again, after a minute at the latest; until then, everything
    /// that is due stays due.
    int StartWatch();
    /// Ends every thread that the watcher started. Always returns 1.
    int AbortWatching();
    /// Stops, writes what is pending to "watcher_dump.bin", and empties the object.
    void DeInit();
    /// Returns false when the last DeInit did not write everything, because it could not, or because the data folder
    /// belongs to another selection or index; a full enumeration is then due.
    bool IsPendingKept() const;
    /// Looks again at paths that were recorded in the index after their hand-out. The removal of a file that the index
    /// does not hold leaves nothing behind: what has gone between hand-out and record becomes a pending deletion here.
    void LookAgainAfterRecording(const std::vector<CString>& paths);
    /// Returns false when the running mark could not be made in the data folder: the next start would not notice that
    /// this run was killed.
    bool IsCrashNoticed() const;
    /// Loads the selection into both filters as StartWatch does. A running watcher then watches the new drives, and
    /// stops watching drives that no rule names any more. Returns false when there is no selection, or when a file of
    /// it could not be loaded: the filter of that file then keeps the rules that it held, or, if it held none, takes
    /// those that could be read.
    bool LoadSelection();
    /// Returns what loading the selection and adding rules have found in their files since the last call: files that
    /// were not read, items that are no rules, and what is probably not meant. The log has the same.
    RuleFindings TakeSelectionFindings();
    /// Waits until the watcher runs and has tried to watch every drive of the selection. Returns false after the time.
    bool WaitUntilReady(DWORD milliseconds);
    /// Returns the roots whose changes are being read, in order.
    std::vector<CString> GetWatchedRoots();

    // --- Configuration. Paths are copied. ---

    /// Sets the selection file. An empty text, or a file that does not exist, changes nothing.
    void SetDataXmlPath(const wchar_t* path);
    /// Sets the file of advanced filters in the same way.
    void SetAdvancedFiltersPath(const wchar_t* path);
    /// Sets three files. data: taken when not empty. data2, advanced: taken when they exist, emptied otherwise.
    void SetDataXMLFiles(const wchar_t* data, const wchar_t* data2, const wchar_t* advanced);
    /// Sets two files. secondary: taken when not empty, emptied otherwise. secondaryExtra: taken when it exists,
    /// emptied otherwise.
    void SetSecondaryXMLFile(const wchar_t* secondary, const wchar_t* secondaryExtra);
    /// Sets the service's own database, whose changes are not watched.
    void SetQueueDB(const wchar_t* path);
    /// Sets the index database, in which deletions are recorded.
    void SetIndexDB(const wchar_t* path);
    /// Sets the folder that backups go to, and to which transactions of deletions are exported. Nothing in it is ever
    /// selected. May be called at any time, by any thread. Null means none. When an earlier destination is none any
    /// more, also since the last run, a full enumeration becomes due, which finds the files in it.
    void SetDestBackupFolderDB(const wchar_t* path);
    /// Sets files that the calling program writes, such as the file that its output goes to: they are never selected.
    /// The data folder, the index and the queue never are, either. May be called at any time, by any thread.
    void SetOwnFiles(const std::vector<CString>& files);
    /// Sets the ";"-separated patterns of names of files that are to be backed up at once. Null changes nothing.
    void SetInstantRunExt(const wchar_t* patterns);
    /// Sets the ";"-separated patterns of names of files that are handed out as block-level backups. Null means none.
    void SetBlockLevelExt(const wchar_t* patterns);
    /// Sets whether the overlay service is told of statuses.
    void SetOverlay(bool on);
    /// Sets the user whose rights are used. The token is neither duplicated nor closed: it must outlive the watcher.
    void SetUserToken(HANDLE token);
    /// Non-zero: IsFirstTimeEnumRunning returns 0 during an enumeration. The watch thread sets it anew when it begins
    /// an enumeration by its time: such a one is hidden when an earlier one was completed.
    void SetFirstTimeWatcherHide(int hidden);
    /// Sets whether hidden files are backed up.
    void EnableBackupHiddenFiles(bool enable);
    /// Keeps the value; nothing depends on it.
    void SetBackupFrequency(DWORD frequency);
    /// Sets the share of the machine that an enumeration may use; takes effect at once, also while one runs.
    void UpdateThreadsPriority(CPUSpeedMode mode);
    /// Sets the object that knows which files were uploaded and where transactions go. It is shared. The watcher has
    /// one from the beginning; null changes nothing.
    void SetOnlineHandler(std::shared_ptr<OnlineCallbackHandler> handler);
    /// Sets the name of an event that is set when a full enumeration has completed.
    void SetFirstTimeCompletionEvent(const wchar_t* name);
    /// Sets the 64-bit keys (PathHash64) of file names, extensions and folders that are no candidates for
    /// deduplication.
    void SetIgnoredDedup(const std::set<unsigned __int64>& names, const std::set<unsigned __int64>& extensions,
                         const std::set<unsigned __int64>& folders);

    // --- State. ---

    /// Returns 1 after Init, 0 after DeInit.
    int IsInitilized();
    /// Returns 1 once a full enumeration has been started since Init.
    int IsEnableFirstTime();
    /// Returns 1 during a full enumeration that is not hidden.
    int IsFirstTimeEnumRunning();
    /// Returns 1 once a full enumeration has ended since Init, also after an aborted one.
    int IsFirstTimeFinshedsuccessfully();
    /// Returns what EnableBackupHiddenFiles has set.
    bool IsBackupHiddenFiles();
    /// Returns the number of pending entries, deletions included.
    __int64 GetTotalFilesInMem();
    /// Returns 1 while the mutex of a backup service exists.
    static int IsBackupRunning();
    /// Makes the decision that a change of the path would get, and reports how it came about.
    PathExplanation Explain(const wchar_t* path);

    // --- Pending files. ---

    /// Hands out one pending file; returns false when there is none to be had now. A file whose attributes the system
    /// refuses to show stays pending. sameRunIds: null, or a std::set<unsigned __int64> in which the caller keeps the
    /// ids of the current backup run.
    bool GetSingleNotification(void* sameRunIds, QueueDatum& out);
    /// Does the same, and reports which file it is, so that the caller can check that it opens this very file: a folder
    /// in the path may be replaced by a link meanwhile. `identity` may be null.
    bool GetSingleNotification(void* sameRunIds, QueueDatum& out, FileIdentity* identity);
    /// Treats the path as changed: the rules decide whether it becomes pending. If its drive is away, or the letter
    /// holds another volume, a selected path stays pending until the drive returns. Always returns true.
    bool AddSingleNotification(const wchar_t* path);
    /// Drops everything that is pending.
    void ClearNotifications();
    /// Adds the rules of a file and queues the files that they select. mergeOnly non-zero: only adds the rules. If the
    /// rules cannot be merged into the selection, none of them is taken (RulesNotLoaded), and their file is kept.
    AddQueueItemResult AddNewQueueItem(const wchar_t* xmlPath, bool deleteWhenDone, std::vector<ExcludedInfo>* excluded,
                                       int mergeOnly);
    /// Returns 1 for a file whose name matches SetInstantRunExt.
    int IsOnlineInstantRunAllowed(const wchar_t* path);
    /// Sets the installation's event that wakes a service for files that are to be backed up at once.
    void SignalInstantRunEvent();

    // --- Deleted files. ---

    /// Writes a delete record for every pending deletion whose file is still gone, and for the items below it that the
    /// index holds, and exports the records. Deletions that cannot be written stay pending, and without the index's
    /// cache all of them do. Always returns 0.
    int ImmediateProcessDeletedFiles();
    /// Sets a function that is called after each record was written, on the thread that processed it, with the
    /// deleted-files lock held: it must not call the watcher. An empty function removes it. Call it before watching.
    void SetDeletionListener(std::function<void(const DeletionRecord&)> listener);
    /// Drops the pending files that the disk shows below a folder, whose path ends in a backslash. Links to folders are
    /// entered, each target once.
    void RemoveChildNotifications(CString directory);
    /// Drops everything that is pending below the folder.
    void RemoveChildNotificationsEx(CString directory);
    /// Drops the pending entries whose paths begin with `path`. removedMasks: drops only those whose ending has its key
    /// in it. Otherwise skippedMasks: keeps those. A key is PathHash64 of the lower-cased ending with its dot.
    void ForceRemoveItemNotifications(const wchar_t* path, bool addBackslash,
                                      const std::set<unsigned __int64>& removedMasks,
                                      const std::set<unsigned __int64>& skippedMasks);
    /// Reports as removed what is left in the index library's map of deleted paths, is selected and is gone.
    void TrimDeleteMap();
    /// Removes the path from that map: the path exists, so that no deletion will be reported.
    void RemoveFromDeleteMap(const wchar_t* path);
    /// Returns true while the event is set that asks the long removals to end.
    bool IsAbortExcludeDelete();

    // --- First-time run and drives. ---

    /// Begins a full enumeration on a thread of its own. reload non-zero: loads the selection anew first. Returns 0
    /// when one is running, when the watcher is stopping, or when the start fails.
    int StartFirstTimeRun(int reload);
    /// Returns the progress of the enumerations. Cheap.
    EnumerationProgress GetEnumerationProgress();
    /// Returns the paths that enumerations could not look at since the last call. A full enumeration names each path
    /// once, and the first 200 of them.
    SkippedPaths TakeSkippedPaths();
    /// A service calls it when the completion event is set. Writes the time that decides when the next full enumeration
    /// is due, unless changes were lost since this one began.
    void NoteFirstTimeRunCompleted();
    /// Enumerates one drive on the calling thread. Returns false when it was aborted.
    bool FirstRun(const wchar_t* drive);
    /// Enumerates one drive in the same way. checkRules: only what the rules of the drive include. Returns false when
    /// it was aborted.
    bool EnumerateIncludedFiles(const wchar_t* drive, const wchar_t* pattern, bool checkRules);
    /// DriveReappeared: moves the primary filter's rules of the volume to this root. DriveRemoved: returns when the
    /// drive is no longer watched.
    void UpdateDrive(const wchar_t* drive, WatcherEnum::DriveAction action);
    /// Appends the letters of the selection's drives. Always returns true.
    bool GetWatchedDrives(CString& out);
    /// Sets a function that is called on the watch thread, with no lock held, when a root is rescanned, with the reason
    /// ("lostChanges", "driveReturned", "watchedAgain", "newDrive"). It may call the watcher, except the operations
    /// that wait for that thread: StartWatch, AbortWatching, DeInit and UpdateDrive. Call it before watching.
    void SetRescanListener(std::function<void(const CString& root, const char* reason)> listener);

    // --- Plugin table, merging and export. ---

    /// Makes the index's plugin table equal to that of the data file. Returns false when the data file cannot be
    /// loaded; returns true, and logs an error, when the index cannot be written.
    bool FillPluginTable();
    /// Removes repeated texts: of rules with the same text, without regard to case, only the first one keeps it.
    void CleanAddedFilters(FilterList& filters);
    /// Merges the texts of the rules into the file, repeated ones once. A text replaces the first item with its path;
    /// an item whose flags hold 0x1000 or 0x400 stays instead. Without such a path the text goes behind the last item.
    /// The texts are used up when the file was written and took all of them. An existing file that cannot be read is
    /// kept with the ending ".bad"; a malformed one stays as it is.
    void XMLMerge(const wchar_t* path, FilterList& filters);
    /// Does the same with a document in memory, which belongs to the caller. Texts that the document refuses are used
    /// up, too.
    void XMLMerge(CMarkup& document, FilterList& filters);
    /// Adds the pending files to a list (XML; docs/pending-list.md), without deletions and internal files. count: the
    /// largest number of files to add; then how many were added. Returns false when nothing at all is pending. If the
    /// list cannot be written, only the log says so.
    bool ExportFilesToXML(const wchar_t* path, int& count);
    /// Returns true when the file is a pending list, which ExportFilesToXML extends: XML with the document element
    /// "root" that is empty, or holds an "item" or a "count".
    static bool IsPendingList(const wchar_t* path);

private:
    friend struct OrbWatcherObject; // the C functions, which report exceptions as codes
    friend class WatcherAccess;     // tests

    void FileFoundCallback(const wchar_t* path, unsigned __int64 size) override;
    bool ProgressCallback() override;
    void FolderFoundCallback(const wchar_t* path) override;

    std::unique_ptr<WatcherParts> m;
};
