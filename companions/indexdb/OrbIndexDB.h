// The product's index: what has been backed up, kept in an SQLite database in
// write-ahead mode, with a cache of the whole index in memory.
//
// A CIndexDB object is one connection and belongs to one thread at a time. The
// static members are shared by the process; GetCachedData and
// IsDelayedItemWatcher may be called from any thread and enter m_csCache
// themselves. Who needs both the cache's section and a transaction enters the
// section first. Recording, deleting, forgetting, loading and clearing enter it at
// their end, for a moment, so that look-ups never wait for a database: they must
// not be called with the section held.
//
// A database that is locked, read-only, corrupt or newer than this library is
// reported by Open and never overwritten.
#pragma once

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

// What the cache knows of an item.
struct CachedDatum {
    static constexpr std::uint32_t DropSameRunChange = 4; // a file: a second change during a run is dropped
    static constexpr std::uint32_t Folder = 4;            // the same bit on a folder's item marks the folder
    static constexpr std::uint32_t NoDeleteRecord = 64;   // has one already: treated as if it were not in the index

    std::uint64_t id = 0;
    std::uint64_t parentId = 0;
    std::uint64_t modificationTime = 0; // FILETIME, 100-ns units
    std::uint32_t kind = 0;             // 0 file, 1 folder
    std::uint32_t flags = 0;
    CString path; // without a trailing backslash
};

// An item as a backup service records it.
struct ItemDatum {
    CString path;
    std::uint32_t kind = 0; // 0 file, 1 folder
    std::uint64_t modificationTime = 0;
    std::uint32_t flags = 0;
    std::int64_t delayedUntil = 0; // seconds since 1970; 0: not delayed
};

struct DeleteDatum {
    std::uint64_t id = 0;
    std::uint64_t deletionTime = 0; // FILETIME
    std::int32_t jobId = 0;
};

// One plugin of the selection. Each text holds at most 259 units.
struct ProfileDatum {
    std::int32_t id = 0;
    CString name;
    CString virtualPath;
    CString rootPath;
    CString guiName;
};

// One job.
struct SettingsDatum {
    static constexpr std::uint32_t Completed = 32;

    std::int32_t jobId = 0;
    std::int64_t startTime = 0; // seconds since 1970
    std::int64_t endTime = 0;
    std::int64_t itemCount = 0;
    std::uint32_t flags = 0;
};

// The deleted-path maps: path to item id.
struct ORBINDEXDB_API DeleteMapOrder { // without regard to case
    bool operator()(const CString& left, const CString& right) const;
};
using DeleteMap = std::map<CString, std::uint64_t, DeleteMapOrder>;

class ORBINDEXDB_API CIndexDB
{
public:
    // Why the last operation failed.
    enum class Error { None, NotFound, Locked, ReadOnly, Corrupt, Newer, Full, Failed };

    CIndexDB();
    ~CIndexDB();
    CIndexDB(const CIndexDB&) = delete;
    CIndexDB& operator=(const CIndexDB&) = delete;

    void SetDBFilePath(const wchar_t* path);
    // writable: 1 to write (a missing database is created), 0 to read only. exclusive: 1 keeps others out.
    // busyTimeoutMs: how long a locked database is waited for; 0 means 2,000. False: GetLastDbError says why.
    bool Open(int writable, int exclusive, int busyTimeoutMs);
    void Close();
    // The open database grows no further: writing beyond reports Full.
    bool SetSizeLimit(std::uint64_t bytes);
    Error GetLastDbError() const;
    CString GetLastDbErrorText() const;

    // Jobs. GetLastJobData yields a zero record when there is no job.
    bool GetLastJobData(SettingsDatum& job);
    bool Insert(const SettingsDatum& job);
    bool Update(const SettingsDatum& job);

    // Plugins.
    bool DropPluginTable();
    bool CreatePluginTable();
    bool Insert(const ProfileDatum& plugin);
    std::vector<ProfileDatum> GetPlugins();

    // Delete records. `options`, `context` and `replace` are for other users of the table: 0, null, false
    // here. A record for the same item and job counts once. The item is marked with NoDeleteRecord until it is
    // recorded again: what comes back after its deletion is new, even when nothing about it has changed.
    bool InsertEx(const DeleteDatum& record, int options, void* context, bool replace);
    std::vector<DeleteDatum> GetDeletes(std::int32_t jobId);

    // Jobs, plugins and delete records written in between are committed together, which is much quicker for
    // many of them. Close without commit undoes them, and so does a commit that fails. Items are not recorded and
    // nothing is exported while a batch is open.
    bool BeginBatch();
    bool CommitBatch();

    // Every item below a folder, at any depth: begin, then rows until false. Ask GetLastDbError after that: with
    // an error the list is not whole. After a false there are no more rows until the next begin.
    bool BeginFolderChildrenRead(const wchar_t* folder);
    bool ReadRow(std::uint64_t& id);

    // Writes the last job and its delete records into a new, self-contained database file. `kind` is 1.
    // False, with no file left, when it could not be written; false, too, when the file exists already,
    // unless it is empty: that is how a name is reserved.
    bool ExportToTransaction(const wchar_t* path, int kind);

    // What a backup service does. The cache follows at once.
    bool RecordItem(const ItemDatum& item);
    bool RecordItems(const std::vector<ItemDatum>& items); // in one transaction
    bool ForgetItem(const wchar_t* path);
    // Fills the process's cache from this database, which must be open.
    bool LoadCache();

    // The 64-bit path key (PathHash64) of the path without one trailing backslash.
    static std::uint64_t CalculateUuid(const wchar_t* path);

    // The cache. While none is loaded the look-ups find nothing: they never go to a database themselves. It
    // follows the recording of items through any connection of this process to the same file.
    static bool CacheLoaded();
    static void ClearCache();
    // `options` is 1 for every caller here.
    static bool GetCachedData(std::uint64_t id, CachedDatum& datum, int options = 1);
    // Without regard to case and to one trailing backslash.
    static bool GetCachedData(const wchar_t* path, CachedDatum& datum);
    // Whether the index holds anything below the folder, at any depth. Case and backslash as above.
    static bool HasCachedItemsBelow(const wchar_t* folder);
    static bool IsDelayedItemWatcher(const wchar_t* path, std::int64_t& until);
    // How many queries went to a database since the process started; look-ups in the cache are none.
    static std::uint64_t DatabaseLookups();
    // How many statements were prepared for a database since then.
    static std::uint64_t StatementsPrepared();

    static CCriticalSection& m_csCache;
    static CCriticalSection& m_csMapDelete;
    static CCriticalSection& m_csMapDeleteDR;
    static DeleteMap& m_mapDeletePtr;
    static DeleteMap& m_mapDeleteDRPtr;

private:
    struct State;
    State* m_state;
};
