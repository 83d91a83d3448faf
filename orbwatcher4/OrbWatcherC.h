/** @file
 * The watcher, the index and the estimator as plain C functions, for services
 * that are built with another compiler, or written in another language, than
 * the C++ classes of OrbWatcher.h. C11 and C++; exported from OrbWatcher4.dll.
 *
 * Texts are UTF-16, terminated by a zero; wchar_t is the 16-bit one of Windows.
 * Lengths and capacities count units (wchar_t), capacities and needed lengths with
 * the zero. A text that goes in has at most ORB_LONGEST_TEXT units and is copied.
 *
 * Structs begin with their size, which the caller sets to sizeof before each call.
 * They may grow at their end: the library goes by the caller's size. Of the sizes
 * below sizeof, those are known that a struct's comment names; fields behind the
 * size are not touched, and count as zero when they go in. Any other size is
 * refused with ORB_BAD_SIZE. Fields have their natural alignment (packing 8).
 *
 * No memory changes its owner. What comes out is copied to memory of the caller,
 * which the library does not keep; when a call fails, it is as it was unless the
 * call says otherwise. Handles are made and destroyed by functions; a destroyed
 * one, or one that was never made, must not be used. No exception leaves a function.
 *
 * Any function may be called from any thread, several at once on one handle, except
 * that nobody may be in a call with a handle, or begin one, that is being destroyed.
 * From a callback nothing may be called but OrbResultText and OrbVersion.
 *
 * Every function that returns OrbResult may return ORB_OK, ORB_BAD_ARGUMENT (a
 * null pointer, an empty text, a number out of its range), ORB_NO_MEMORY and
 * ORB_FAILED; the others are named with the function.
 */
#ifndef ORBWATCHER4_ORBWATCHERC_H
#define ORBWATCHER4_ORBWATCHERC_H

#include "orbwatcher4/Export.h"

#include <stddef.h>
#include <stdint.h>

/** The one convention of 64-bit Windows, also where a compiler's default is set to another. */
#ifdef _WIN32
#define ORB_CALL __cdecl
#else
#define ORB_CALL
#endif

#ifdef __cplusplus
extern "C" {
#endif
#pragma pack(push, 8)

#define ORB_LONGEST_TEXT 32767        /**< units, without the zero */
#define ORB_PATH_CAPACITY 1536        /**< units, with the zero */
#define ORB_RULE_TEXTS_CAPACITY 260   /**< units, with the zero */
#define ORB_RULE_NUMBERS_CAPACITY 520 /**< units, with the zero */
#define ORB_REASON_CAPACITY 32        /**< units, with the zero */
#define ORB_OUTCOME_CAPACITY 32       /**< counters */

/* --- Results. The numbers stay as they are. --- */

/** What has become of a call: ORB_OK and so on. */
typedef int32_t OrbResult;
/** The codes. */
enum {
    ORB_OK = 0,                    /**< done */
    ORB_NOTHING = 1,               /**< there is none now; no failure */
    ORB_BAD_ARGUMENT = 2,          /**< a null pointer, an empty text, a number out of its range */
    ORB_BAD_SIZE = 3,              /**< the size of a struct is none that is known */
    ORB_TEXT_TOO_LONG = 4,         /**< more than ORB_LONGEST_TEXT units */
    ORB_BUFFER_TOO_SMALL = 5,      /**< how much is needed has been told */
    ORB_WRONG_STATE = 6,           /**< the watcher is not watching, or is */
    ORB_BUSY = 7,                  /**< a run is going on already */
    ORB_TIMED_OUT = 8,             /**< what was waited for has not come yet */
    ORB_ABORTED = 9,               /**< by the caller */
    ORB_SELECTION_UNREADABLE = 10, /**< a file of rules is missing, or malformed and not that of advanced rules */
    ORB_FILE_UNREADABLE = 11,      /**< when the record was made: there is nothing to be recorded */
    ORB_PENDING_NOT_KEPT = 12,     /**< stopped, and the next start looks at everything */
    ORB_NO_MEMORY = 13,            /**< nothing was changed */
    ORB_FAILED = 14,               /**< anything else; OrbLastFailure says what */
    ORB_INDEX_LOCKED = 20,         /**< by another process; later it may work */
    ORB_INDEX_READ_ONLY = 21,      /**< it cannot be written */
    ORB_INDEX_CORRUPT = 22,        /**< it is left as it is */
    ORB_INDEX_NEWER = 23,          /**< than this library; it is left as it is */
    ORB_INDEX_FULL = 24,           /**< the disk, or the size limit */
    ORB_INDEX_FAILED = 25,         /**< anything else, want of memory for the database among it */
    ORB_INDEX_NOT_FOUND = 26       /**< the file, or what was asked for in it */
};

/** What a code means, in English; never null, and valid as long as the DLL is loaded. */
ORBWATCHER4_API const wchar_t* ORB_CALL OrbResultText(OrbResult code);

/** Why the calling thread's last call failed, on whatever handle it was; empty when it did not. Keeps at most 511
 * units, and is no such call itself. buffer: may be null when capacity is 0. needed: may be null. ORB_BUFFER_TOO_SMALL:
 * the buffer holds an empty text. */
ORBWATCHER4_API OrbResult ORB_CALL OrbLastFailure(wchar_t* buffer, uint32_t capacity, uint32_t* needed);

/** The version of the library: major * 65536 + minor * 256 + patch. */
ORBWATCHER4_API uint32_t ORB_CALL OrbVersion(void);

/* --- The watcher's life: created, watching, stopped, watching ... destroyed. --- */

/** A watcher, made by OrbWatcherCreate. */
typedef struct OrbWatcherObject* OrbWatcherHandle;

/** How a watcher works. May end before secondaryRules. Each text but the first two may be null or empty. */
typedef struct OrbWatcherOptions {
    uint32_t size;                 /**< sizeof the struct, set by the caller */
    uint32_t hiddenFiles;          /**< 1: they are backed up, too */
    const wchar_t* selection;      /**< the file of rules */
    const wchar_t* indexDatabase;  /**< the file; deletions are recorded in it */
    const wchar_t* autoExclusions; /**< the product's own rules */
    const wchar_t* advancedRules;  /**< the file of advanced filters */
    const wchar_t* destination;    /**< the folder that transactions of deletions are exported to */
    const wchar_t* secondaryRules; /**< a second file of rules, whose texts go along with a file */
    uint32_t keepEvents;           /**< 1: deletions and rescans are kept until they are taken */
    uint32_t reserved;             /**< 0 */
} OrbWatcherOptions;

/** Loads the selection; nothing is watched yet. The handle goes to *watcher, which is null after a failure. Load the
 * index (OrbIndexOpen) before OrbWatcherStart: without it nobody knows what is backed up. Malformed advanced rules keep
 * nothing out, and the log says so: too much is backed up rather than nothing. A data folder is for one selection: what
 * a watcher leaves pending goes to the next one that starts there, which drops what its own rules leave out.
 * ORB_BAD_SIZE, ORB_TEXT_TOO_LONG, ORB_SELECTION_UNREADABLE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbWatcherCreate(const OrbWatcherOptions* options, OrbWatcherHandle* watcher);

/** Takes up what the last run has left pending, starts watching, and waits until every root of the selection has been
 * tried, or so many milliseconds. A stopped watcher loads its selection anew. ORB_WRONG_STATE: it is watching.
 * ORB_TIMED_OUT: it starts all the same, and OrbWatcherWaitReady goes on waiting. ORB_SELECTION_UNREADABLE: it is as
 * it was. */
ORBWATCHER4_API OrbResult ORB_CALL OrbWatcherStart(OrbWatcherHandle watcher, uint32_t milliseconds);
/** Waits until every root of the selection has been tried, or so many milliseconds. ORB_TIMED_OUT; ORB_WRONG_STATE: not
 * watching, or no longer. */
ORBWATCHER4_API OrbResult ORB_CALL OrbWatcherWaitReady(OrbWatcherHandle watcher, uint32_t milliseconds);

/** The roots whose changes are being read now, joined by "|": C:\|D:\ - a drive that is away is not among them. Buffers
 * as with OrbLastFailure. ORB_WRONG_STATE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbWatcherRoots(OrbWatcherHandle watcher, wchar_t* buffer, uint32_t capacity,
                                                   uint32_t* needed);

/** Ends the watcher's threads and writes what is pending for the next start. Waits for other calls on the handle. Put
 * back what was taken and not backed up before: afterwards it is refused. ORB_WRONG_STATE: not watching.
 * ORB_PENDING_NOT_KEPT: stopped, but not all could be written; the next start looks at everything. */
ORBWATCHER4_API OrbResult ORB_CALL OrbWatcherStop(OrbWatcherHandle watcher);
/** *kept: 1 when the last stop could write what was pending, or there was none; else 0. */
ORBWATCHER4_API OrbResult ORB_CALL OrbWatcherIsPendingKept(OrbWatcherHandle watcher, uint32_t* kept);

/** Stops a watcher that is watching; events that were not taken are gone. Null does nothing. */
ORBWATCHER4_API void ORB_CALL OrbWatcherDestroy(OrbWatcherHandle watcher);

/* --- Pending files: of a watcher that is watching, else ORB_WRONG_STATE. --- */

/** Bits of OrbPendingFile.flags. */
enum {
    ORB_FILE = 0x02,                /**< it is a file */
    ORB_DIRECTORY = 0x04,           /**< it is a folder */
    ORB_NEW = 0x10,                 /**< not in the index */
    ORB_BLOCK_LEVEL = 0x80,         /**< to be backed up at block level */
    ORB_INTERNAL = 0x400,           /**< not for lists that users see */
    ORB_EVEN_WHEN_HIDDEN = 0x4000,  /**< a rule speaks of hidden files, too */
    ORB_RULE_WITHOUT_TEXT = 0x8000, /**< a rule without a plugin took part */
    ORB_SHOW_OVERLAY = 0x800000,    /**< its status is to be shown */
    ORB_DEDUP_CANDIDATE = 0x4000000 /**< may be stored once for equal files */
};

/** One pending file. May end before ruleTexts. */
typedef struct OrbPendingFile {
    uint32_t size;            /**< sizeof the struct, set by the caller */
    uint32_t flags;           /**< ORB_FILE ...; the rule's other flags come along */
    uint64_t id;              /**< of the path */
    uint64_t fileSize;        /**< bytes */
    int64_t modificationTime; /**< as FILETIME: 100 ns since 1601, UTC. Of a folder its creation. Unreadable now: -1,
                                   and of a folder 0 */
    int64_t creationTime;     /**< as FILETIME */
    uint32_t attributes;      /**< of the file system */
    uint32_t ruleValue;       /**< bits of the jobs that want it */
    wchar_t path[ORB_PATH_CAPACITY];                /**< full */
    wchar_t ruleTexts[ORB_RULE_TEXTS_CAPACITY];     /**< of the rules that select it, joined by ":" */
    wchar_t ruleNumbers[ORB_RULE_NUMBERS_CAPACITY]; /**< the same */
} OrbPendingFile;

/** Takes one file out of what is pending. It is the caller's now: record it as backed up (OrbIndexRecord), or put it
 * back. ORB_NOTHING: none can be had now; ORB_BAD_SIZE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbPendingTake(OrbWatcherHandle watcher, OrbPendingFile* file);
/** A file that could not be backed up waits again, if the selection still includes it. ORB_TEXT_TOO_LONG. */
ORBWATCHER4_API OrbResult ORB_CALL OrbPendingPutBack(OrbWatcherHandle watcher, const wchar_t* path);
/** How many are pending, deletions that are not yet recorded among them. */
ORBWATCHER4_API OrbResult ORB_CALL OrbPendingCount(OrbWatcherHandle watcher, int64_t* count);

/* --- What the watcher tells: kept (OrbWatcherOptions.keepEvents) until it is taken, the oldest first, also after a
 * stop. There are no callbacks for it: they would run on the watcher's own threads with its locks held, and one that
 * called back, or waited for a thread that does, would stop the watcher for ever. --- */

/** A delete record that was written into the index. */
typedef struct OrbDeletion {
    uint32_t size;                   /**< sizeof the struct, set by the caller */
    int32_t job;                     /**< number of the job that the record belongs to */
    uint64_t id;                     /**< of the item */
    wchar_t path[ORB_PATH_CAPACITY]; /**< without a backslash at its end */
} OrbDeletion;

/** A root that is looked at again. */
typedef struct OrbRescan {
    uint32_t size;                       /**< sizeof the struct, set by the caller */
    wchar_t reason[ORB_REASON_CAPACITY]; /**< lostChanges, driveReturned, watchedAgain or newDrive */
    wchar_t root[ORB_PATH_CAPACITY];     /**< of the drive or share */
} OrbRescan;

/** The oldest deletion that was not taken yet. Forget it (OrbIndexForgetDeleted) before you record what you take after
 * it. ORB_NOTHING; ORB_BAD_SIZE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbDeletionTake(OrbWatcherHandle watcher, OrbDeletion* deletion);
/** The oldest rescan that was not taken yet. ORB_NOTHING; ORB_BAD_SIZE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbRescanTake(OrbWatcherHandle watcher, OrbRescan* rescan);

/* --- The index: what is backed up. Calls on one handle wait for each other. Each may return one of ORB_INDEX_...; a
 * failed one changes nothing. --- */

/** An open index, made by OrbIndexOpen. */
typedef struct OrbIndexObject* OrbIndexHandle;

/** How an index is opened. May end before sizeLimit. */
typedef struct OrbIndexOptions {
    uint32_t size;                /**< sizeof the struct, set by the caller */
    uint32_t writable;            /**< 1: a missing database is created */
    uint32_t exclusive;           /**< 1: others are kept out */
    uint32_t timeoutMilliseconds; /**< how long a locked database is waited for; 0: 2,000 */
    uint64_t sizeLimit;           /**< bytes that it may grow to; 0: none */
} OrbIndexOptions;

/** Opens the database and loads it into the cache of the process, which every watcher asks. options: null for a
 * writable one. *index is null after a failure. ORB_BAD_SIZE, ORB_TEXT_TOO_LONG. */
ORBWATCHER4_API OrbResult ORB_CALL OrbIndexOpen(const wchar_t* path, const OrbIndexOptions* options,
                                                OrbIndexHandle* index);
/** Notes that a file that was taken has been backed up. ORB_FILE_UNREADABLE: it could not be read when it was taken; it
 * stays new, so that it is backed up later rather than never. ORB_BAD_SIZE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbIndexRecord(OrbIndexHandle index, const OrbPendingFile* file);
/** The path counts as never backed up; also when it did before. ORB_TEXT_TOO_LONG. */
ORBWATCHER4_API OrbResult ORB_CALL OrbIndexForget(OrbIndexHandle index, const wchar_t* path);
/** The same for a deletion that the service has dealt with. ORB_NOTHING: it has been recorded anew meanwhile, and
 * stays; ORB_BAD_SIZE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbIndexForgetDeleted(OrbIndexHandle index, const OrbDeletion* deletion);
/** Closes the database; the cache stays loaded. Null does nothing. */
ORBWATCHER4_API void ORB_CALL OrbIndexClose(OrbIndexHandle index);

/* --- Why a path is selected or not. --- */

/** What OrbExplain has found out. */
typedef struct OrbExplanationObject* OrbExplanationHandle;

/** Decisions. */
enum { ORB_INCLUDED = 0, ORB_NOT_INCLUDED = 1, ORB_EXCLUDED = 2, ORB_NOT_APPLICABLE = 3 };
/** What settles a decision. */
enum { ORB_BY_RULES = 0, ORB_BY_LENGTH = 1, ORB_BY_BACKUP_FOLDER = 2, ORB_BY_OWN_FILE = 3 };
/** Where a rule comes from. */
enum { ORB_FROM_SELECTION = 0, ORB_FROM_AUTO_EXCLUSIONS = 1, ORB_FROM_ADVANCED = 2, ORB_FROM_SECONDARY = 3 };
/** Texts of a rule. */
enum { ORB_RULE_PATH = 0, ORB_RULE_MASK = 1, ORB_RULE_PLUGIN = 2, ORB_RULE_INFO = 3 };

/** Why a path is selected or not. */
typedef struct OrbExplanation {
    uint32_t size;          /**< sizeof the struct, set by the caller */
    int32_t decision;       /**< ORB_INCLUDED ... */
    int32_t reason;         /**< ORB_BY_RULES ...: what settled it; the rules, or what comes before them */
    int32_t ordinary;       /**< the decision without advanced rules */
    uint32_t advancedAsked; /**< 1: the advanced rules were asked, too */
    int32_t advanced;       /**< what they said then */
    uint32_t rules;         /**< how many took part */
    int32_t deciding;       /**< index of the one that decided; -1: none did */
} OrbExplanation;

/** A rule that took part. */
typedef struct OrbRule {
    uint32_t size;           /**< sizeof the struct, set by the caller */
    int32_t source;          /**< ORB_FROM_SELECTION ... */
    uint32_t includes;       /**< 1 includes, 0 excludes */
    uint32_t folder;         /**< 1 folder, 0 single file */
    uint32_t withSubfolders; /**< 0 or 1 */
    uint32_t regex;          /**< 1: the mask is a regular expression */
    uint32_t userExclusion;  /**< 1: written as an exclusion by the user */
    uint32_t flags;          /**< as in the file */
    int32_t plugin;          /**< number of its plugin */
    int32_t job;             /**< bits of its jobs */
    int32_t volumeSerial;    /**< of the volume that the rule was made on; 0: none */
    uint32_t volumeFound;    /**< 0 or 1 */
} OrbRule;

/** Of a full path, as a change of it would be judged now; before the start, too. Destroy what *explanation gets; it is
 * null after a failure, and does not change with the watcher. ORB_WRONG_STATE: the watcher was stopped;
 * ORB_TEXT_TOO_LONG. */
ORBWATCHER4_API OrbResult ORB_CALL OrbExplain(OrbWatcherHandle watcher, const wchar_t* path,
                                              OrbExplanationHandle* explanation);
/** The decision, and how it came about. ORB_BAD_SIZE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbExplanationGet(OrbExplanationHandle explanation, OrbExplanation* out);
/** The path as the rules saw it. Buffers as with OrbLastFailure. */
ORBWATCHER4_API OrbResult ORB_CALL OrbExplanationPath(OrbExplanationHandle explanation, wchar_t* buffer,
                                                      uint32_t capacity, uint32_t* needed);
/** One of the rules, which are numbered from 0 on, in the order in which they took part. ORB_BAD_SIZE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbExplanationRule(OrbExplanationHandle explanation, uint32_t number, OrbRule* rule);
/** One text of a rule. text: ORB_RULE_PATH ...; buffers as with OrbLastFailure. */
ORBWATCHER4_API OrbResult ORB_CALL OrbExplanationRuleText(OrbExplanationHandle explanation, uint32_t number,
                                                          int32_t text, wchar_t* buffer, uint32_t capacity,
                                                          uint32_t* needed);
/** Ends the handle. Null does nothing. */
ORBWATCHER4_API void ORB_CALL OrbExplanationDestroy(OrbExplanationHandle explanation);

/* --- Enumerations: of a watcher that is watching, else ORB_WRONG_STATE. It begins some by itself: when none was ever
 * complete, when changes were lost, once a day. --- */

/** Indices of OrbEnumerationProgress.outcomes. */
enum {
    ORB_QUEUED = 0,                 /**< new, or changed since it was backed up */
    ORB_WAITING = 1,                /**< was pending already */
    ORB_UNCHANGED = 2,              /**< as it was backed up */
    ORB_MISSING = 3,                /**< selected by its own path and not there */
    ORB_UNREADABLE = 4,             /**< there, and the system refuses to show it */
    ORB_SKIPPED_HIDDEN = 5,         /**< hidden */
    ORB_SKIPPED_EXCLUDED = 6,       /**< by the user */
    ORB_SKIPPED_AUTO_EXCLUDED = 7,  /**< by the product */
    ORB_SKIPPED_ADVANCED = 8,       /**< by an advanced filter */
    ORB_SKIPPED_NOT_APPLICABLE = 9, /**< a folder of which only the files are judged */
    ORB_SKIPPED_NOT_SELECTED = 10,  /**< by no rule */
    ORB_SKIPPED_BACKUP_FOLDER = 11, /**< lies where backups go */
    ORB_SKIPPED_OWN_FILE = 12,      /**< of the watcher's own work */
    ORB_SKIPPED_TOO_LONG = 13,      /**< more than 260 units */
    ORB_SKIPPED_DELAYED = 14,       /**< its time has not come yet */
    ORB_SKIPPED_UPLOADED = 15,      /**< was uploaded a moment ago */
    ORB_SKIPPED_SYSTEM_LINK = 16,   /**< an old name that the system keeps for programs */
    ORB_SKIPPED_BROKEN_LINK = 17,   /**< leads to nothing */
    ORB_SKIPPED_WALKED_ALREADY = 18 /**< under another name */
};

/** How the enumerations go. May end before folder. Counts are those since the last run over all drives began. */
typedef struct OrbEnumerationProgress {
    uint32_t size;      /**< sizeof the struct, set by the caller */
    uint32_t running;   /**< runs that are going on, over all drives and over single ones */
    uint32_t completed; /**< 1: a run over all drives has come to its end and waits for OrbEnumerationNoteCompleted */
    uint32_t reserved;  /**< 0 */
    uint64_t files;     /**< met */
    uint64_t folders;   /**< met */
    uint64_t outcomes[ORB_OUTCOME_CAPACITY]; /**< ORB_QUEUED ...; the others are 0 */
    wchar_t folder[ORB_PATH_CAPACITY];       /**< that a walk is in */
} OrbEnumerationProgress;

/** Begins a run over all drives of the selection and returns. ORB_BUSY: one is going on. */
ORBWATCHER4_API OrbResult ORB_CALL OrbEnumerationStart(OrbWatcherHandle watcher);
/** How the runs go. Cheap. ORB_BAD_SIZE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbEnumerationGetProgress(OrbWatcherHandle watcher,
                                                             OrbEnumerationProgress* progress);
/** Waits until no run is going on. ORB_TIMED_OUT; ORB_WRONG_STATE also when somebody stops the watcher meanwhile. */
ORBWATCHER4_API OrbResult ORB_CALL OrbEnumerationWait(OrbWatcherHandle watcher, uint32_t milliseconds);
/** Writes down that a run over all drives was complete, so that the next one is due in a day; whoever began it. Not
 * noted, it is done again. ORB_NOTHING: none has ended since the last time. */
ORBWATCHER4_API OrbResult ORB_CALL OrbEnumerationNoteCompleted(OrbWatcherHandle watcher);

/* --- How much a selection holds. Needs no watcher. --- */

/** What is estimated. May end before autoExclusions, which may be null or empty. */
typedef struct OrbEstimateOptions {
    uint32_t size;                 /**< sizeof the struct, set by the caller */
    uint32_t reserved;             /**< 0 */
    const wchar_t* selection;      /**< the file of rules; those of every plugin count */
    const wchar_t* autoExclusions; /**< the product's own rules */
} OrbEstimateOptions;

/** How a scan goes. */
typedef struct OrbEstimateProgress {
    uint32_t size;                     /**< sizeof the struct, set by the caller */
    uint32_t drives;                   /**< of the selection */
    uint32_t drivesDone;               /**< of these, how many were walked to the end */
    uint32_t reserved;                 /**< 0 */
    uint64_t files;                    /**< met so far, selected or not; a file that is met twice counts twice */
    uint64_t folders;                  /**< met so far */
    uint64_t bytes;                    /**< of the files */
    wchar_t folder[ORB_PATH_CAPACITY]; /**< that a walk is in, or was in last */
} OrbEstimateProgress;

/** What a selection holds. May end before leftOutFiles. */
typedef struct OrbEstimateTotals {
    uint32_t size;         /**< sizeof the struct, set by the caller */
    uint32_t reserved;     /**< 0 */
    uint64_t files;        /**< that the selection includes */
    uint64_t bytes;        /**< of these */
    uint64_t leftOutFiles; /**< that were met and it leaves out */
    uint64_t leftOutBytes; /**< of these */
    uint64_t unreadable;   /**< folders and links that could not be gone into: what they hold is not counted */
} OrbEstimateTotals;

/** Called on the thread that has called OrbEstimate: at the beginning, and about twenty times a second. The progress is
 * valid during the call. 0 goes on; anything else aborts. Must not throw, nor leave by longjmp. */
typedef int32_t(ORB_CALL* OrbEstimateCallback)(void* context, const OrbEstimateProgress* progress);

/** Scans all drives of the selection and returns when they are done. callback: may be null. context: handed to it as it
 * is. ORB_ABORTED: the callback has asked for it; ORB_BAD_SIZE, ORB_TEXT_TOO_LONG, ORB_SELECTION_UNREADABLE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbEstimate(const OrbEstimateOptions* options, OrbEstimateCallback callback,
                                               void* context, OrbEstimateTotals* totals);

#pragma pack(pop)
#ifdef __cplusplus
}
#endif

#endif
