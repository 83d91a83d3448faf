/// @file
/// The product's index of what has been backed up: an SQLite database in write-ahead mode, with a cache of the whole
/// index in memory.
///
/// A CIndexDB object is one connection and belongs to one thread at a time. Its own lock does not make it shareable: it
/// lets the check of the lock order see each operation. The process shares the static members. Any thread may call
/// GetCachedData and IsDelayedItemWatcher, which lock m_csCache themselves. Recording, deleting, forgetting, loading
/// and clearing lock m_csCache for a moment at their end, so that look-ups never wait for a database; do not call them
/// with m_csCache held.
///
/// Open reports a database that is locked, read-only, corrupt or newer than this library, and never overwrites it.
#pragma once

#include "companions/indexdb/CachedDatum.h"
#include "mfc/CCriticalSection.h"
#include "mfc/CString.h"

#include <cstdint>
#include <map>
#include <vector>

#ifdef ORBINDEXDB_EXPORTS
#define ORBINDEXDB_API __declspec(dllexport)
#else
#define ORBINDEXDB_API __declspec(dllimport)
#endif

/// An item, as a backup service records it.
struct ItemDatum {
    CString path;                       ///< full path; one trailing backslash does not count
    std::uint32_t kind = 0;             ///< 0 file, 1 folder
    std::uint64_t modificationTime = 0; ///< FILETIME, 100-ns units
    std::uint32_t flags = 0;            ///< as in CachedDatum
    std::int64_t delayedUntil = 0;      ///< seconds since 1970; 0: not delayed
};

/// A delete record of a job.
struct DeleteDatum {
    std::uint64_t id = 0;           ///< id of the item
    std::uint64_t deletionTime = 0; ///< FILETIME
    std::int32_t jobId = 0;         ///< SettingsDatum::jobId
};

/// One plugin of the selection.
struct ProfileDatum {
    static constexpr int LongestText = 259; ///< units that each of its texts may have

    std::int32_t id = 0; ///< number of the plugin
    CString name;        ///< its name in rules
    CString virtualPath; ///< the place where its items are shown
    CString rootPath;    ///< the folder of its items
    CString guiName;     ///< its name for users
};

/// One job.
struct SettingsDatum {
    static constexpr std::uint32_t Completed = 32; ///< bit of flags: the job is complete

    std::int32_t jobId = 0;     ///< counts up
    std::int64_t startTime = 0; ///< seconds since 1970
    std::int64_t endTime = 0;   ///< seconds since 1970; 0: not ended
    std::int64_t itemCount = 0; ///< number of items that it handled
    std::uint32_t flags = 0;    ///< Completed, or 0
};

/// The order of the deleted-path maps: without regard to case.
struct ORBINDEXDB_API DeleteMapOrder {
    /// Returns true when `left` comes first.
    bool operator()(const CString& left, const CString& right) const;
};
/// A map of deleted paths: path, without a trailing backslash, to item id.
using DeleteMap = std::map<CString, std::uint64_t, DeleteMapOrder>;

/// A read of the items that an enumeration has not met.
struct UnmetItems {
    std::uint32_t run = 0;            ///< CIndexDB::BeginRun
    CString folder;                   ///< items below it are read, at any depth
    std::vector<CachedDatum> found{}; ///< the items of the last call
    std::size_t next = 0;             ///< place where the next call goes on
    std::uint64_t generation = 0;     ///< the cache that `next` belongs to
};

/// One connection to an index, and the cache that the whole process shares.
class ORBINDEXDB_API CIndexDB
{
public:
    /// Why the last operation failed.
    enum class Error { None, NotFound, Locked, ReadOnly, Corrupt, Newer, Full, Failed };

    /// Makes a closed object.
    CIndexDB();
    /// Closes the database; an open batch is undone.
    ~CIndexDB();
    CIndexDB(const CIndexDB&) = delete;
    CIndexDB& operator=(const CIndexDB&) = delete;

    /// Sets the file that Open opens. The path is copied.
    void SetDBFilePath(const wchar_t* path);
    /// Opens the database. writable: 1 to write (a missing database is created), 0 to read only. exclusive: 1 keeps
    /// other connections out. busyTimeoutMs: how long to wait for a locked database; 0 means 2,000. Returns false on
    /// failure; GetLastDbError says why.
    bool Open(int writable, int exclusive, int busyTimeoutMs);
    /// Closes the database and undoes an open batch. Does nothing when the database is closed.
    void Close();
    /// Limits the size of the open database: writing beyond it reports Full.
    bool SetSizeLimit(std::uint64_t bytes);
    /// Returns why the last operation of this object failed; None when it did not fail.
    Error GetLastDbError() const;
    /// Returns the same reason as a text for people, in English.
    CString GetLastDbErrorText() const;

    /// Reads the job with the highest number; a zero record when there is none. Returns false when it cannot be read.
    bool GetLastJobData(SettingsDatum& job);
    /// Adds a job. Returns false when a job has this number, or when it cannot be written.
    bool Insert(const SettingsDatum& job);
    /// Replaces the values of the job with this number. Returns false, with NotFound, when there is none.
    bool Update(const SettingsDatum& job);

    /// Drops the table of plugins with its contents. Returns false when that cannot be written.
    bool DropPluginTable();
    /// Makes an empty table of plugins when there is none.
    bool CreatePluginTable();
    /// Appends a plugin. Returns false when a text is too long, or when it cannot be written.
    bool Insert(const ProfileDatum& plugin);
    /// Returns the plugins in the order in which they were inserted; empty on failure.
    std::vector<ProfileDatum> GetPlugins();

    /// Writes a delete record. `options`, `context` and `replace` are for other users of the table: 0, null, false
    /// here. A record for the same item and job counts once. The item is marked with NoDeleteRecord until it is
    /// recorded again: an item that returns after its deletion is new, even when nothing about it has changed.
    bool InsertEx(const DeleteDatum& record, int options, void* context, bool replace);
    /// Returns the records of a job; empty on failure.
    std::vector<DeleteDatum> GetDeletes(std::int32_t jobId);

    /// Begins a batch: jobs, plugins and delete records that are written until CommitBatch are committed together,
    /// which is much faster for many of them. Close without commit undoes them, and so does a commit that fails. While
    /// a batch is open, items cannot be recorded and nothing can be exported.
    bool BeginBatch();
    /// Commits the batch. Returns false when it was undone.
    bool CommitBatch();

    /// Begins to read every item below a folder, at any depth; then call ReadRow until it returns false. Call
    /// GetLastDbError after that: with an error the list is not complete. After that false there are no more rows until
    /// the next begin.
    bool BeginFolderChildrenRead(const wchar_t* folder);
    /// Reads the next item of the folder.
    bool ReadRow(std::uint64_t& id);

    /// Writes the last job and its delete records into a new, self-contained database file. `kind` is 1. Returns false,
    /// with no file left, when it could not be written. Also returns false when the file exists already, unless it is
    /// empty: an empty file reserves a name.
    bool ExportToTransaction(const wchar_t* path, int kind);

    /// Does the same for the job with this number.
    bool ExportJob(const wchar_t* path, std::int32_t jobId);
    /// Notes that the job is still to be exported, in the open batch or at once. The note stays in the index until
    /// NoteExported, also over restarts. Returns false when it cannot be written.
    bool MakeExportDue(std::int32_t jobId);
    /// Notes that the job has been exported. Returns false when that cannot be written.
    bool NoteExported(std::int32_t jobId);
    /// Reads the jobs that are still to be exported, in the order of their numbers. Returns false when they cannot be
    /// read.
    bool GetDueExports(std::vector<std::int32_t>& jobs);

    /// Records, for a backup service, that the item is backed up with this data. The cache follows at once. Returns
    /// false when it cannot be written, and when another path has the item's key: keys are hashes, and a user can make
    /// a name with the key of another path. The other item stays, and this one stays new. Load the cache first: as long
    /// as it has followed every change of this database's items, it finds the keys. Otherwise each call reads all
    /// items.
    bool RecordItem(const ItemDatum& item);
    /// Records many items in one transaction: all of them or none, except those whose key another path has. These are
    /// left out; the result is then false, although the others are recorded.
    bool RecordItems(const std::vector<ItemDatum>& items);
    /// Removes the item from the index; succeeds, too, when the index does not hold it. Returns false when that cannot
    /// be written.
    bool ForgetItem(const wchar_t* path);
    /// Removes many items in one commit: all of them or none.
    bool ForgetItems(const std::vector<CString>& paths);
    /// Fills the process's cache from this database, which must be open. Returns false when it cannot be read.
    bool LoadCache();

    /// Returns the 64-bit path key (PathHash64) of the path without one trailing backslash.
    static std::uint64_t CalculateUuid(const wchar_t* path);

    /// Returns true when a cache is loaded. Without one, the look-ups find nothing: they never query a database
    /// themselves. The cache follows items that any connection of this process to the same file records.
    static bool CacheLoaded();
    /// Drops the cache: the look-ups find nothing until the next LoadCache.
    static void ClearCache();
    /// Finds the item with this key; returns false when the index does not hold it. `options` is 1 for every caller
    /// here. A caller that computed the key from a path must compare the paths with IsItemOf.
    static bool GetCachedData(std::uint64_t id, CachedDatum& datum, int options = 1);
    /// Returns true when the item that was found by the key of a path has that path, without regard to case and to one
    /// trailing backslash. A user can make a name with the key of another path.
    static bool IsItemOf(const wchar_t* path, const CachedDatum& datum);
    /// Finds the item with this path, without regard to case and to one trailing backslash.
    static bool GetCachedData(const wchar_t* path, CachedDatum& datum);
    /// Returns true when the index holds an item below the folder, at any depth. Case and backslash as above.
    static bool HasCachedItemsBelow(const wchar_t* folder);
    /// Returns true when the item is delayed; `until` is in seconds since 1970.
    static bool IsDelayedItemWatcher(const wchar_t* path, std::int64_t& until);

    /// Begins an enumeration, which marks the items that it meets. Returns its number, which is larger than those
    /// before; 0 when no cache is loaded. Enumerations may run at the same time: an item that one of them meets was met
    /// by all that have begun.
    static std::uint32_t BeginRun();
    /// Marks the item with this path as met. Returns false when the index does not hold the item, when it was met since
    /// the last run began, or when it has CachedDatum::NoDeleteRecord. Throws std::bad_alloc.
    static bool Meet(const wchar_t* path);
    /// Returns true for a path that Meet would mark.
    static bool IsUnmet(const wchar_t* path);
    /// Reads some of the items that were not met since the run began. Items with CachedDatum::NoDeleteRecord, and those
    /// that were added since, do not count. Call it until it returns false: then all were read, or no cache is loaded
    /// any more. A cache that is loaded meanwhile is read from its beginning, and none of its items counts as met.
    static bool ReadUnmet(UnmetItems& items);

    /// Returns how many queries went to a database since the process started; look-ups in the cache do not count.
    static std::uint64_t DatabaseLookups();
    /// Returns how many statements were prepared for a database since the process started.
    static std::uint64_t StatementsPrepared();

    /// Guards the cache. Any thread; a thread that holds it calls nothing that waits for a database.
    static CCriticalSection& m_csCache;
    /// Guards m_mapDeletePtr.
    static CCriticalSection& m_csMapDelete;
    /// Guards m_mapDeleteDRPtr.
    static CCriticalSection& m_csMapDeleteDR;
    /// The items of the index that no enumeration has met so far.
    static DeleteMap& m_mapDeletePtr;
    /// The same map for disaster-recovery backups.
    static DeleteMap& m_mapDeleteDRPtr;

private:
    struct State;
    State* m_state;
};
