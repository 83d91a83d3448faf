/** @file
 * The watcher, the index and the estimator as plain C functions, for services that are built with another compiler, or
 * written in another language, than the C++ classes of OrbWatcher.h. C11 and C++; exported from OrbWatcher4.dll.
 *
 * Texts are UTF-16, terminated by a zero; wchar_t is the 16-bit one of Windows. Lengths and capacities count units
 * (wchar_t); capacities and needed lengths include the zero. An input text has at most ORB_LONGEST_TEXT units and is
 * copied.
 *
 * A struct begins with its size, which the caller sets to sizeof before each call. Structs may grow at their end: the
 * library goes by the caller's size. Besides sizeof it accepts the smaller sizes that a struct's comment names ("May
 * end before"); any other size is refused with ORB_BAD_SIZE. Fields behind the caller's size are not touched on output,
 * and count as zero on input. Fields have their natural alignment (packing 8).
 *
 * No memory changes its owner. Output is copied to memory of the caller, which the library does not keep; when a call
 * fails, that memory stays as it was unless the call says otherwise. Handles are made and destroyed by functions; a
 * handle that was destroyed, or never made, must not be used. No exception leaves a function.
 *
 * Any thread may call any function, and several threads may use one handle at once. While a handle is being destroyed,
 * however, no thread may be in a call with it or begin one. A callback may call OrbResultText and OrbVersion only.
 *
 * Every function that returns OrbResult may return ORB_OK, ORB_BAD_ARGUMENT (a null pointer, an empty text, a number
 * out of its range), ORB_NO_MEMORY and ORB_FAILED; the others are named with the function.
 */
#ifndef ORBWATCHER4_ORBWATCHERC_H
#define ORBWATCHER4_ORBWATCHERC_H

#include "orbwatcher4/Export.h"

#include <stddef.h>
#include <stdint.h>

/** The calling convention of 64-bit Windows, also where a compiler's default is another one. */
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

/* --- Results. The numbers never change. --- */

/** The result of a call: ORB_OK and so on. */
typedef int32_t OrbResult;
/** The codes. */
enum {
    ORB_OK = 0,                    /**< done */
    ORB_NOTHING = 1,               /**< there is none now; not a failure */
    ORB_BAD_ARGUMENT = 2,          /**< a null pointer, an empty text, a number out of its range */
    ORB_BAD_SIZE = 3,              /**< the size of a struct is not a known one */
    ORB_TEXT_TOO_LONG = 4,         /**< more than ORB_LONGEST_TEXT units */
    ORB_BUFFER_TOO_SMALL = 5,      /**< the needed capacity has been reported */
    ORB_WRONG_STATE = 6,           /**< the call needs a watcher in another state */
    ORB_BUSY = 7,                  /**< an enumeration is running already */
    ORB_TIMED_OUT = 8,             /**< the time was over first */
    ORB_ABORTED = 9,               /**< the caller ended the call */
    ORB_SELECTION_UNREADABLE = 10, /**< a file of rules is missing, or is malformed and not that of advanced rules */
    ORB_FILE_UNREADABLE = 11,      /**< the file could not be read when it was handed out: there is nothing to record */
    ORB_PENDING_NOT_KEPT = 12,     /**< stopped, but a full enumeration is due at the next start */
    ORB_NO_MEMORY = 13,            /**< nothing was changed */
    ORB_FAILED = 14,               /**< any other failure; OrbLastFailure says which */
    ORB_NOT_TRUSTED = 15,          /**< another account may have made the data folder, or a settings file in it */
    ORB_INDEX_LOCKED = 20,         /**< another process has locked the index; a later call may succeed */
    ORB_INDEX_READ_ONLY = 21,      /**< the index cannot be written */
    ORB_INDEX_CORRUPT = 22,        /**< the index is damaged; it is left as it is */
    ORB_INDEX_NEWER = 23,          /**< the index is newer than this library; it is left as it is */
    ORB_INDEX_FULL = 24,           /**< the disk is full, or the size limit is reached */
    ORB_INDEX_FAILED = 25,         /**< any other failure, lack of memory for the database among them */
    ORB_INDEX_NOT_FOUND = 26       /**< there is no such file, or no such entry in it */
};

/** Returns what a code means, in English; never null, and valid as long as the DLL is loaded. */
ORBWATCHER4_API const wchar_t* ORB_CALL OrbResultText(OrbResult code);

/** Copies the reason why the calling thread's last call failed, on any handle; empty when it did not fail. The
 * reason has at most 511 units. A call of this function does not count as the last call. buffer: may be null when
 * capacity is 0. needed: may be null. ORB_BUFFER_TOO_SMALL: the buffer holds an empty text. */
ORBWATCHER4_API OrbResult ORB_CALL OrbLastFailure(wchar_t* buffer, uint32_t capacity, uint32_t* needed);

/** Returns the version of the library: major * 65536 + minor * 256 + patch. */
ORBWATCHER4_API uint32_t ORB_CALL OrbVersion(void);

/* --- The data folder: settings, log, the dump of what is pending, running marks. One for the process. --- */

/** Sets the data folder for the process, before the first watcher is created. It is made when it is missing. The call
 * sets the environment variable ORB_DATA_FOLDER of the process, which names the folder otherwise, also for processes
 * that this one starts. Null: removes the variable, so that the folder is `%ProgramData%\OrbWatcher4` again.
 * ORB_WRONG_STATE: a watcher of this process exists; ORB_TEXT_TOO_LONG. */
ORBWATCHER4_API OrbResult ORB_CALL OrbSetDataFolder(const wchar_t* folder);
/** Copies the absolute path of the data folder that the process uses now, without a trailing backslash. Buffers as with
 * OrbLastFailure. */
ORBWATCHER4_API OrbResult ORB_CALL OrbGetDataFolder(wchar_t* buffer, uint32_t capacity, uint32_t* needed);

/* --- The life of a watcher: created, watching, stopped, watching ... destroyed. --- */

/** A watcher, made by OrbWatcherCreate. */
typedef struct OrbWatcherObject* OrbWatcherHandle;

/** How a watcher works. May end before secondaryRules. Each text but the first two may be null or empty. */
typedef struct OrbWatcherOptions {
    uint32_t size;                 /**< sizeof the struct, set by the caller */
    uint32_t hiddenFiles;          /**< 1: hidden files are backed up, too */
    const wchar_t* selection;      /**< the file of rules */
    const wchar_t* indexDatabase;  /**< the file in which deletions are recorded */
    const wchar_t* autoExclusions; /**< the product's own rules */
    const wchar_t* advancedRules;  /**< the file of advanced filters */
    const wchar_t* destination;    /**< the folder that backups go to, and transactions of deletions; never selected */
    const wchar_t* secondaryRules; /**< a second file of rules; their texts are handed out with a file */
    uint32_t keepEvents;           /**< 1: deletions and rescans are kept until they are taken */
    uint32_t reserved;             /**< 0 */
} OrbWatcherOptions;

/** Loads the selection; nothing is watched yet. *watcher receives the handle, and is null after a failure. Load the
 * index (OrbIndexOpen) before OrbWatcherStart: without it the watcher cannot tell what is backed up. Malformed
 * advanced rules exclude nothing, and the log says so: too much is backed up rather than nothing. A data folder
 * belongs to the selection and the index of the first watcher that was started with it. A watcher of another selection
 * or index runs, and keeps nothing there: OrbWatcherStop returns ORB_PENDING_NOT_KEPT when files are pending, and a
 * full enumeration is due at each start. Give each selection a data folder of its own (OrbSetDataFolder).
 * ORB_BAD_SIZE, ORB_TEXT_TOO_LONG, ORB_SELECTION_UNREADABLE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbWatcherCreate(const OrbWatcherOptions* options, OrbWatcherHandle* watcher);

/** Replays what the last run left pending, starts watching, and waits until every root of the selection has been
 * tried, for at most `milliseconds`. A stopped watcher loads its selection anew. ORB_WRONG_STATE: it is watching
 * already. ORB_TIMED_OUT: it starts all the same, and OrbWatcherWaitReady goes on waiting.
 * ORB_SELECTION_UNREADABLE: the watcher is as it was. ORB_NOT_TRUSTED: the watcher is as it was; without its settings
 * it could watch less than its user wants. OrbLastFailure names the file and what to do. */
ORBWATCHER4_API OrbResult ORB_CALL OrbWatcherStart(OrbWatcherHandle watcher, uint32_t milliseconds);
/** Waits until every root of the selection has been tried, for at most `milliseconds`. ORB_TIMED_OUT;
 * ORB_WRONG_STATE: the watcher is not watching, or no longer. */
ORBWATCHER4_API OrbResult ORB_CALL OrbWatcherWaitReady(OrbWatcherHandle watcher, uint32_t milliseconds);

/** Copies the roots whose changes are being read now, joined by "|": C:\|D:\ - the root of an absent drive is not
 * among them. Buffers as with OrbLastFailure. ORB_WRONG_STATE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbWatcherRoots(OrbWatcherHandle watcher, wchar_t* buffer, uint32_t capacity,
                                                   uint32_t* needed);

/** Ends the watcher's threads and writes what is pending for the next start. Waits for other calls on the handle.
 * Before this call, put back the files that you took and did not back up: afterwards OrbPendingPutBack is refused.
 * ORB_WRONG_STATE: not watching. ORB_PENDING_NOT_KEPT: stopped, but not everything could be written; a full
 * enumeration is due at the next start. */
ORBWATCHER4_API OrbResult ORB_CALL OrbWatcherStop(OrbWatcherHandle watcher);
/** Reports whether the last stop could write everything that was pending. *kept: 1 when it could, or when there was
 * no stop yet; else 0. */
ORBWATCHER4_API OrbResult ORB_CALL OrbWatcherIsPendingKept(OrbWatcherHandle watcher, uint32_t* kept);

/** Stops a watcher that is watching, and destroys it. Events that were not taken are lost. Null does nothing. */
ORBWATCHER4_API void ORB_CALL OrbWatcherDestroy(OrbWatcherHandle watcher);

/* --- Pending files: of a watcher that is watching, otherwise ORB_WRONG_STATE. --- */

/** Bits of OrbPendingFile.flags. */
enum {
    ORB_FILE = 0x02,                /**< it is a file */
    ORB_DIRECTORY = 0x04,           /**< it is a folder */
    ORB_NEW = 0x10,                 /**< not in the index */
    ORB_BLOCK_LEVEL = 0x80,         /**< to be backed up at block level */
    ORB_INTERNAL = 0x400,           /**< not for lists that users see */
    ORB_EVEN_WHEN_HIDDEN = 0x4000,  /**< a rule also covers hidden files */
    ORB_RULE_WITHOUT_TEXT = 0x8000, /**< a rule without a plugin took part */
    ORB_SHOW_OVERLAY = 0x800000,    /**< its status is to be shown */
    ORB_DEDUP_CANDIDATE = 0x4000000 /**< may be stored once for equal files */
};

/** One pending file. May end before ruleTexts, or before fileId. */
typedef struct OrbPendingFile {
    uint32_t size;                   /**< sizeof the struct, set by the caller */
    uint32_t flags;                  /**< ORB_FILE ...; other flags of the rules are added */
    uint64_t id;                     /**< id of the path */
    uint64_t fileSize;               /**< bytes */
    int64_t modificationTime;        /**< as FILETIME: 100 ns since 1601, UTC; of a folder its creation time. Of an
                                          unreadable file -1, of an unreadable folder 0 */
    int64_t creationTime;            /**< as FILETIME */
    uint32_t attributes;             /**< attributes of the file system */
    uint32_t ruleValue;              /**< bits of the jobs that want the file */
    wchar_t path[ORB_PATH_CAPACITY]; /**< full path */
    wchar_t ruleTexts[ORB_RULE_TEXTS_CAPACITY];     /**< texts of the rules that select it, joined by ":" */
    wchar_t ruleNumbers[ORB_RULE_NUMBERS_CAPACITY]; /**< numbers of these rules, joined by ":" */
    uint64_t fileId;       /**< number of the file on its volume: nFileIndexHigh and nFileIndexLow of
                                GetFileInformationByHandle. With volumeSerial it says which file was looked at: the path
                                may lead to another one later (docs/security.md). 0 with volumeSerial 0: unreadable */
    uint32_t volumeSerial; /**< serial number of the volume */
    uint32_t reserved;     /**< 0 */
} OrbPendingFile;

/** Takes one pending file, which then belongs to the caller: record it as backed up (OrbIndexRecord), or put it
 * back. ORB_NOTHING: none can be had now; ORB_BAD_SIZE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbPendingTake(OrbWatcherHandle watcher, OrbPendingFile* file);
/** Puts a file back that could not be backed up: it is pending again if the selection still includes it.
 * ORB_TEXT_TOO_LONG. */
ORBWATCHER4_API OrbResult ORB_CALL OrbPendingPutBack(OrbWatcherHandle watcher, const wchar_t* path);
/** Reports the number of pending entries, including deletions that are not yet recorded. */
ORBWATCHER4_API OrbResult ORB_CALL OrbPendingCount(OrbWatcherHandle watcher, int64_t* count);

/* --- Events of the watcher. They are kept (OrbWatcherOptions.keepEvents) until they are taken, the oldest first,
 * also after a stop. There are no callbacks for them: a callback would run on the watcher's own threads with its
 * locks held, and one that called the watcher, or waited for a thread that does, would stop the watcher for ever.
 * --- */

/** A delete record that was written into the index. */
typedef struct OrbDeletion {
    uint32_t size;                   /**< sizeof the struct, set by the caller */
    int32_t job;                     /**< number of the job that the record belongs to */
    uint64_t id;                     /**< id of the item */
    wchar_t path[ORB_PATH_CAPACITY]; /**< without a trailing backslash */
} OrbDeletion;

/** A root that is rescanned. */
typedef struct OrbRescan {
    uint32_t size;                       /**< sizeof the struct, set by the caller */
    wchar_t reason[ORB_REASON_CAPACITY]; /**< lostChanges, driveReturned, watchedAgain or newDrive */
    wchar_t root[ORB_PATH_CAPACITY];     /**< root of the drive or share */
} OrbRescan;

/** Takes the oldest deletion that was not taken yet. Forget it (OrbIndexForgetDeleted) before you record files that
 * you take after it. ORB_NOTHING; ORB_BAD_SIZE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbDeletionTake(OrbWatcherHandle watcher, OrbDeletion* deletion);
/** Takes the oldest rescan that was not taken yet. ORB_NOTHING; ORB_BAD_SIZE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbRescanTake(OrbWatcherHandle watcher, OrbRescan* rescan);

/* --- The index: what is backed up. Calls on one handle wait for each other. Every call may return one of
 * ORB_INDEX_...; a failed call changes nothing. --- */

/** An open index, made by OrbIndexOpen. */
typedef struct OrbIndexObject* OrbIndexHandle;

/** How an index is opened. May end before sizeLimit. */
typedef struct OrbIndexOptions {
    uint32_t size;                /**< sizeof the struct, set by the caller */
    uint32_t writable;            /**< 1: a missing database is created */
    uint32_t exclusive;           /**< 1: others are kept out */
    uint32_t timeoutMilliseconds; /**< how long to wait for a locked database; 0: 2,000 */
    uint64_t sizeLimit;           /**< bytes that the database may grow to; 0: no limit */
} OrbIndexOptions;

/** Opens the database and loads it into the cache of the process, which every watcher uses. options: null opens a
 * writable one. *index is null after a failure. ORB_BAD_SIZE, ORB_TEXT_TOO_LONG. */
ORBWATCHER4_API OrbResult ORB_CALL OrbIndexOpen(const wchar_t* path, const OrbIndexOptions* options,
                                                OrbIndexHandle* index);
/** Records that a file that was taken has been backed up. ORB_FILE_UNREADABLE: the file could not be read when it
 * was taken; it stays new, so that it is backed up later rather than never. ORB_BAD_SIZE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbIndexRecord(OrbIndexHandle index, const OrbPendingFile* file);
/** Records many files in one commit, which is much faster than one commit each: a service that collects files for some
 * hundred milliseconds loses little. Nothing counts as recorded before the call returns; a service that is killed
 * before takes the files again at its next start, which is a full enumeration. files: `count` structs, one after the
 * other, all of the first one's size. results: null, or receives `count` codes: ORB_OK, ORB_FILE_UNREADABLE, or why the
 * file could not be recorded. watcher: null, or the watcher that handed the files out: a file that has gone since then
 * becomes a pending deletion; without it that file's deletion is found by the next full enumeration. Returns ORB_OK,
 * or the first code that is not; the other files are recorded all the same. ORB_BAD_SIZE. ORB_WRONG_STATE: the watcher
 * is not watching; nothing was recorded. */
ORBWATCHER4_API OrbResult ORB_CALL OrbIndexRecordMany(OrbIndexHandle index, OrbWatcherHandle watcher,
                                                      const OrbPendingFile* files, uint32_t count, OrbResult* results);
/** Removes the path from the index, so that it counts as never backed up; also succeeds when the index does not
 * hold it. ORB_TEXT_TOO_LONG. */
ORBWATCHER4_API OrbResult ORB_CALL OrbIndexForget(OrbIndexHandle index, const wchar_t* path);
/** Removes the item of a deletion that the service has dealt with. ORB_NOTHING: the item has been recorded anew
 * meanwhile, and stays, or the index does not hold it; ORB_BAD_SIZE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbIndexForgetDeleted(OrbIndexHandle index, const OrbDeletion* deletion);
/** Closes the database; the cache stays loaded. Null does nothing. */
ORBWATCHER4_API void ORB_CALL OrbIndexClose(OrbIndexHandle index);

/* --- Why a path is selected or not. --- */

/** The answer of OrbExplain. */
typedef struct OrbExplanationObject* OrbExplanationHandle;

/** Decisions. */
enum { ORB_INCLUDED = 0, ORB_NOT_INCLUDED = 1, ORB_EXCLUDED = 2, ORB_NOT_APPLICABLE = 3 };
/** Reasons of a decision. */
enum { ORB_BY_RULES = 0, ORB_BY_LENGTH = 1, ORB_BY_BACKUP_FOLDER = 2, ORB_BY_OWN_FILE = 3 };
/** Where a rule comes from. */
enum { ORB_FROM_SELECTION = 0, ORB_FROM_AUTO_EXCLUSIONS = 1, ORB_FROM_ADVANCED = 2, ORB_FROM_SECONDARY = 3 };
/** Texts of a rule. */
enum { ORB_RULE_PATH = 0, ORB_RULE_MASK = 1, ORB_RULE_PLUGIN = 2, ORB_RULE_INFO = 3 };

/** The decision on a path, and how it came about. */
typedef struct OrbExplanation {
    uint32_t size;          /**< sizeof the struct, set by the caller */
    int32_t decision;       /**< ORB_INCLUDED ... */
    int32_t reason;         /**< what decided: ORB_BY_RULES, or a check before the rules */
    int32_t ordinary;       /**< the decision without advanced rules */
    uint32_t advancedAsked; /**< 1: the advanced rules were asked, too */
    int32_t advanced;       /**< their decision, when they were asked */
    uint32_t rules;         /**< number of rules that took part */
    int32_t deciding;       /**< index of the rule that decided; -1: none did */
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
    int32_t volumeSerial;    /**< serial number of the volume that the rule was made on; 0: none */
    uint32_t volumeFound;    /**< 0 or 1 */
} OrbRule;

/** Explains the decision that a change of a full path would get now; also before the start. *explanation receives a
 * handle that the caller destroys; it is null after a failure, and does not change with the watcher.
 * ORB_WRONG_STATE: the watcher was stopped; ORB_TEXT_TOO_LONG. */
ORBWATCHER4_API OrbResult ORB_CALL OrbExplain(OrbWatcherHandle watcher, const wchar_t* path,
                                              OrbExplanationHandle* explanation);
/** Copies the decision and how it came about. ORB_BAD_SIZE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbExplanationGet(OrbExplanationHandle explanation, OrbExplanation* out);
/** Copies the path as the rules saw it. Buffers as with OrbLastFailure. */
ORBWATCHER4_API OrbResult ORB_CALL OrbExplanationPath(OrbExplanationHandle explanation, wchar_t* buffer,
                                                      uint32_t capacity, uint32_t* needed);
/** Copies one rule. Rules are numbered from 0, in the order in which they took part. ORB_BAD_SIZE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbExplanationRule(OrbExplanationHandle explanation, uint32_t number, OrbRule* rule);
/** Copies one text of a rule. text: ORB_RULE_PATH ...; buffers as with OrbLastFailure. */
ORBWATCHER4_API OrbResult ORB_CALL OrbExplanationRuleText(OrbExplanationHandle explanation, uint32_t number,
                                                          int32_t text, wchar_t* buffer, uint32_t capacity,
                                                          uint32_t* needed);
/** Destroys the handle. Null does nothing. */
ORBWATCHER4_API void ORB_CALL OrbExplanationDestroy(OrbExplanationHandle explanation);

/* --- Enumerations: of a watcher that is watching, otherwise ORB_WRONG_STATE. The watcher begins some itself: when
 * no full one was ever complete, after lost changes, and once a day. --- */

/** Indices of OrbEnumerationProgress.outcomes. */
enum {
    ORB_QUEUED = 0,                 /**< new, or changed since its backup: it became pending */
    ORB_WAITING = 1,                /**< it was pending already */
    ORB_UNCHANGED = 2,              /**< not changed since its backup */
    ORB_MISSING = 3,                /**< selected by its own path, but it does not exist, or no longer */
    ORB_UNREADABLE = 4,             /**< it exists, but the system refuses to show it */
    ORB_SKIPPED_HIDDEN = 5,         /**< hidden */
    ORB_SKIPPED_EXCLUDED = 6,       /**< excluded by the user */
    ORB_SKIPPED_AUTO_EXCLUDED = 7,  /**< excluded by the product */
    ORB_SKIPPED_ADVANCED = 8,       /**< excluded by an advanced rule */
    ORB_SKIPPED_NOT_APPLICABLE = 9, /**< a folder of which only the files are judged */
    ORB_SKIPPED_NOT_SELECTED = 10,  /**< no rule selects it */
    ORB_SKIPPED_BACKUP_FOLDER = 11, /**< it is in the destination of backups */
    ORB_SKIPPED_OWN_FILE = 12,      /**< a file of the watcher itself */
    ORB_SKIPPED_TOO_LONG = 13,      /**< the path has more than 260 units */
    ORB_SKIPPED_DELAYED = 14,       /**< its time has not come yet */
    ORB_SKIPPED_UPLOADED = 15,      /**< it was uploaded a moment ago */
    ORB_SKIPPED_SYSTEM_LINK = 16,   /**< a link of the system: an old name, kept for programs */
    ORB_SKIPPED_BROKEN_LINK = 17,   /**< a link to nothing */
    ORB_SKIPPED_WALKED_ALREADY = 18 /**< it was walked under another name */
};

/** The progress of the enumerations. May end before folder. Counts begin anew with each full enumeration. */
typedef struct OrbEnumerationProgress {
    uint32_t size;      /**< sizeof the struct, set by the caller */
    uint32_t running;   /**< enumerations that are running, full ones and those of one root */
    uint32_t completed; /**< 1: a full enumeration has completed, and waits for OrbEnumerationNoteCompleted */
    uint32_t reserved;  /**< 0 */
    uint64_t files;     /**< files met */
    uint64_t folders;   /**< folders met */
    uint64_t outcomes[ORB_OUTCOME_CAPACITY]; /**< counts by ORB_QUEUED ...; the others are 0 */
    wchar_t folder[ORB_PATH_CAPACITY];       /**< the folder that a walk is in */
} OrbEnumerationProgress;

/** Begins a full enumeration and returns. ORB_BUSY: one is running. */
ORBWATCHER4_API OrbResult ORB_CALL OrbEnumerationStart(OrbWatcherHandle watcher);
/** Reports the progress of the enumerations. Cheap. ORB_BAD_SIZE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbEnumerationGetProgress(OrbWatcherHandle watcher,
                                                             OrbEnumerationProgress* progress);
/** Waits until no enumeration is running, for at most `milliseconds`. ORB_TIMED_OUT; ORB_WRONG_STATE also when
 * the watcher is stopped meanwhile. */
ORBWATCHER4_API OrbResult ORB_CALL OrbEnumerationWait(OrbWatcherHandle watcher, uint32_t milliseconds);
/** Records that a full enumeration has completed, also one that the watcher began, so that the next one is due in a
 * day. Without this call it is repeated. ORB_NOTHING: none has completed since the last call. */
ORBWATCHER4_API OrbResult ORB_CALL OrbEnumerationNoteCompleted(OrbWatcherHandle watcher);

/* --- The size of a selection. Needs no watcher. --- */

/** The files of an estimate. May end before autoExclusions or destination, which may be null or empty. */
typedef struct OrbEstimateOptions {
    uint32_t size;                 /**< sizeof the struct, set by the caller */
    uint32_t reserved;             /**< 0 */
    const wchar_t* selection;      /**< the file of rules; the rules of every plugin count */
    const wchar_t* autoExclusions; /**< the product's own rules */
    const wchar_t* destination;    /**< the folder that backups go to; nothing in it counts */
} OrbEstimateOptions;

/** The progress of an estimate. */
typedef struct OrbEstimateProgress {
    uint32_t size;                     /**< sizeof the struct, set by the caller */
    uint32_t drives;                   /**< drives of the selection */
    uint32_t drivesDone;               /**< those that were walked to the end */
    uint32_t reserved;                 /**< 0 */
    uint64_t files;                    /**< files met so far, selected or not; a file that is met twice counts twice */
    uint64_t folders;                  /**< folders met so far */
    uint64_t bytes;                    /**< size of these files */
    wchar_t folder[ORB_PATH_CAPACITY]; /**< the folder that a walk is in, or was in last */
} OrbEstimateProgress;

/** The totals of an estimate. May end before leftOutFiles. */
typedef struct OrbEstimateTotals {
    uint32_t size;         /**< sizeof the struct, set by the caller */
    uint32_t reserved;     /**< 0 */
    uint64_t files;        /**< files that the selection includes */
    uint64_t bytes;        /**< their size */
    uint64_t leftOutFiles; /**< files that were met and that the selection leaves out */
    uint64_t leftOutBytes; /**< their size */
    uint64_t unreadable;   /**< folders and links that could not be entered; their contents are not counted */
} OrbEstimateTotals;

/** A function that OrbEstimate calls on its caller's thread, at the beginning and about twenty times a second. The
 * progress is valid during the call. Returns 0 to go on; anything else aborts. Must not throw, nor leave by
 * longjmp. */
typedef int32_t(ORB_CALL* OrbEstimateCallback)(void* context, const OrbEstimateProgress* progress);

/** Scans all drives of the selection and returns when the scans are done. callback: may be null. context: passed to
 * the callback as it is. ORB_ABORTED: the callback asked for it; ORB_BAD_SIZE, ORB_TEXT_TOO_LONG,
 * ORB_SELECTION_UNREADABLE. */
ORBWATCHER4_API OrbResult ORB_CALL OrbEstimate(const OrbEstimateOptions* options, OrbEstimateCallback callback,
                                               void* context, OrbEstimateTotals* totals);

#pragma pack(pop)
#ifdef __cplusplus
}
#endif

#endif
