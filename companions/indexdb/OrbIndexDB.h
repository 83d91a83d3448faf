/// @file
/// The product's index: what has been backed up, kept in an SQLite database in
/// write-ahead mode, with a cache of the whole index in memory.
///
/// A CIndexDB object is one connection and belongs to one thread at a time. The
/// static members are shared by the process; GetCachedData and
/// IsDelayedItemWatcher may be called from any thread and enter m_csCache
/// themselves. Who needs both the cache's section and a transaction enters the
/// section first. Recording, deleting, forgetting, loading and clearing enter it at
/// their end, for a moment, so that look-ups never wait for a database: they must
/// not be called with the section held.
///
/// A database that is locked, read-only, corrupt or newer than this library is
/// reported by Open and never overwritten.
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

/// An item as a backup service records it.
struct ItemDatum {
    CString path;                       ///< full; one trailing backslash does not count
    std::uint32_t kind = 0;             ///< 0 file, 1 folder
    std::uint64_t modificationTime = 0; ///< FILETIME, 100-ns units
    std::uint32_t flags = 0;            ///< as in CachedDatum
    std::int64_t delayedUntil = 0;      ///< seconds since 1970; 0: not delayed
};

/// A delete record of a job.
struct DeleteDatum {
    std::uint64_t id = 0;           ///< of the item
    std::uint64_t deletionTime = 0; ///< FILETIME
    std::int32_t jobId = 0;         ///< SettingsDatum::jobId
};

/// One plugin of the selection.
struct ProfileDatum {
    static constexpr int LongestText = 259; ///< units that each of its texts may have

    std::int32_t id = 0; ///< number of the plugin
    CString name;        ///< name, as rules have it
    CString virtualPath; ///< where its items are shown
    CString rootPath;    ///< folder that its items lie in
    CString guiName;     ///< name that users see
};

/// One job.
struct SettingsDatum {
    static constexpr std::uint32_t Completed = 32; ///< bit of flags: the job has come to its end

    std::int32_t jobId = 0;     ///< counts up
    std::int64_t startTime = 0; ///< seconds since 1970
    std::int64_t endTime = 0;   ///< seconds since 1970; 0: not ended
    std::int64_t itemCount = 0; ///< how many items it has treated
    std::uint32_t flags = 0;    ///< Completed
};

/// The order of the deleted-path maps: without regard to case.
struct ORBINDEXDB_API DeleteMapOrder {
    /// True when `left` comes first.
    bool operator()(const CString& left, const CString& right) const;
};
/// A map of deleted paths: path, without a trailing backslash, to item id.
using DeleteMap = std::map<CString, std::uint64_t, DeleteMapOrder>;

/// One connection to an index, and the cache that all of a process share.
class ORBINDEXDB_API CIndexDB
{
public:
    /// Why the last operation failed.
    enum class Error { None, NotFound, Locked, ReadOnly, Corrupt, Newer, Full, Failed };

    /// A closed one.
    CIndexDB();
    /// Closes; a batch that is open is undone.
    ~CIndexDB();
    CIndexDB(const CIndexDB&) = delete;
    CIndexDB& operator=(const CIndexDB&) = delete;

    /// The file that Open opens. The path is copied.
    void SetDBFilePath(const wchar_t* path);
    /// writable: 1 to write (a missing database is created), 0 to read only. exclusive: 1 keeps others out.
    /// busyTimeoutMs: how long a locked database is waited for; 0 means 2,000. False: GetLastDbError says why.
    bool Open(int writable, int exclusive, int busyTimeoutMs);
    /// Undoes an open batch. Nothing happens when it is closed.
    void Close();
    /// The open database grows no further: writing beyond reports Full.
    bool SetSizeLimit(std::uint64_t bytes);
    /// Why the last operation of this object failed; None when it did not.
    Error GetLastDbError() const;
    /// The same for people, in English.
    CString GetLastDbErrorText() const;

    /// The job with the highest number; a zero record when there is none. False when it cannot be read.
    bool GetLastJobData(SettingsDatum& job);
    /// A new job. False when there is one with its number, or when it cannot be written.
    bool Insert(const SettingsDatum& job);
    /// The job with this number gets these values. False, with NotFound, when there is none.
    bool Update(const SettingsDatum& job);

    /// The table of plugins goes, with all that it holds. False when it cannot be written.
    bool DropPluginTable();
    /// An empty table, where there is none.
    bool CreatePluginTable();
    /// Behind those that are there. False when a text is too long, or when it cannot be written.
    bool Insert(const ProfileDatum& plugin);
    /// In the order in which they were inserted; empty on failure.
    std::vector<ProfileDatum> GetPlugins();

    /// Writes a delete record. `options`, `context` and `replace` are for other users of the table: 0, null, false
    /// here. A record for the same item and job counts once. The item is marked with NoDeleteRecord until it is
    /// recorded again: what comes back after its deletion is new, even when nothing about it has changed.
    bool InsertEx(const DeleteDatum& record, int options, void* context, bool replace);
    /// The records of a job; empty on failure.
    std::vector<DeleteDatum> GetDeletes(std::int32_t jobId);

    /// Jobs, plugins and delete records that are written until CommitBatch are committed together, which is much
    /// quicker for many of them. Close without commit undoes them, and so does a commit that fails. Items are not
    /// recorded and nothing is exported while a batch is open.
    bool BeginBatch();
    /// False when it was undone.
    bool CommitBatch();

    /// Every item below a folder, at any depth: begin, then rows until false. Ask GetLastDbError after that: with
    /// an error the list is not whole. After a false there are no more rows until the next begin.
    bool BeginFolderChildrenRead(const wchar_t* folder);
    /// The next item of the folder that BeginFolderChildrenRead has named.
    bool ReadRow(std::uint64_t& id);

    /// Writes the last job and its delete records into a new, self-contained database file. `kind` is 1.
    /// False, with no file left, when it could not be written; false, too, when the file exists already,
    /// unless it is empty: that is how a name is reserved.
    bool ExportToTransaction(const wchar_t* path, int kind);

    /// The same for the job with this number.
    bool ExportJob(const wchar_t* path, std::int32_t jobId);
    /// Notes that the job is still to be exported, in the batch that is open or at once. The note stays in the index
    /// until NoteExported, also over restarts. False when it cannot be written.
    bool MakeExportDue(std::int32_t jobId);
    /// The job has been exported. False when that cannot be written.
    bool NoteExported(std::int32_t jobId);
    /// The jobs that are still to be exported, in the order of their numbers. False when they cannot be read.
    bool GetDueExports(std::vector<std::int32_t>& jobs);

    /// Notes, for a backup service, that the item is backed up as it is said here. The cache follows at once. False
    /// when it cannot be written, and when another path has the item's key: keys are hashes, and names with the key
    /// of another path can be made. The other item stays, and this one stays new.
    bool RecordItem(const ItemDatum& item);
    /// The same for many, in one transaction: all of them or none, but for those whose key another path has. These are
    /// left out; the result is then false, though the others are recorded.
    bool RecordItems(const std::vector<ItemDatum>& items);
    /// The item is not in the index any more; also when it was not. False when it cannot be written.
    bool ForgetItem(const wchar_t* path);
    /// The same for many, in one commit: all of them or none.
    bool ForgetItems(const std::vector<CString>& paths);
    /// Fills the process's cache from this database, which must be open. False when it cannot be read.
    bool LoadCache();

    /// The 64-bit path key (PathHash64) of the path without one trailing backslash.
    static std::uint64_t CalculateUuid(const wchar_t* path);

    /// Whether a cache is loaded. While none is, the look-ups find nothing: they never go to a database themselves. It
    /// follows the recording of items through any connection of this process to the same file.
    static bool CacheLoaded();
    /// The look-ups find nothing until LoadCache is called again.
    static void ClearCache();
    /// The item with this key; false when the index does not hold it. `options` is 1 for every caller here. Whoever has
    /// computed the key from a path must compare the paths: IsItemOf.
    static bool GetCachedData(std::uint64_t id, CachedDatum& datum, int options = 1);
    /// Whether the item that was found by the key of a path has that path, without regard to case and to one
    /// trailing backslash. A name that has the key of another path can be made.
    static bool IsItemOf(const wchar_t* path, const CachedDatum& datum);
    /// The item with this path, without regard to case and to one trailing backslash.
    static bool GetCachedData(const wchar_t* path, CachedDatum& datum);
    /// Whether the index holds anything below the folder, at any depth. Case and backslash as above.
    static bool HasCachedItemsBelow(const wchar_t* folder);
    /// Whether the item is delayed, and until when: seconds since 1970.
    static bool IsDelayedItemWatcher(const wchar_t* path, std::int64_t& until);
    /// How many queries went to a database since the process started; look-ups in the cache are none.
    static std::uint64_t DatabaseLookups();
    /// How many statements were prepared for a database since then.
    static std::uint64_t StatementsPrepared();

    /// Guards the cache. Any thread; nothing that waits for a database is called inside.
    static CCriticalSection& m_csCache;
    /// Guards m_mapDeletePtr.
    static CCriticalSection& m_csMapDelete;
    /// Guards m_mapDeleteDRPtr.
    static CCriticalSection& m_csMapDeleteDR;
    /// What the index holds and no enumeration has met so far.
    static DeleteMap& m_mapDeletePtr;
    /// The same for disaster-recovery backups.
    static DeleteMap& m_mapDeleteDRPtr;

private:
    struct State;
    State* m_state;
};
