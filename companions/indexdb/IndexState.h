// The implementation of CIndexDB: its connection, its last error, and the one way in which its operations run. The
// operations are grouped by topic: OrbIndexDB.cpp (the database), IndexRecords.cpp (jobs, plugins, delete records),
// IndexItems.cpp (items), IndexCache.cpp (the process's cache).
#pragma once

#include "companions/indexdb/IndexCache.h"
#include "companions/indexdb/IndexConnection.h"
#include "support/RankedSection.h"

#include <new>
#include <optional>
#include <vector>

struct CIndexDB::State {
    RankedSection section{LockRank::Database, L"index database"};
    CString path;
    IndexConnection connection;
    // Closed before the connection.
    IndexStatement children;                                                      // of the open BeginFolderChildrenRead
    IndexStatement insertDelete, replaceDelete, markItem, readFlags, readVersion; // prepared once, for many uses
    FileIdentity identity;
    struct NewDelete {
        DeleteDatum datum;
        bool replace;
    };
    bool inBatch = false;
    std::vector<NewDelete> batch;           // not written yet
    bool batchFailed = false;               // some of the batch could not be written
    std::vector<std::uint64_t> markedItems; // of the batch; the cache follows them after the commit
    std::int64_t versionOfMarks = 0;        // version of the database while the marks were written: no other connection
                                            // could write then
    IndexError last{Error::None, CString()};

    // Runs an operation on the open database; its exception becomes the last error.
    template <typename Operation>
    bool Run(Operation operation)
    {
        const CSingleLock lock(section);
        return Guarded([&] {
            if (!connection.IsOpen())
                throw IndexError{Error::Failed, L"the database is not open"};
            operation();
        });
    }
    template <typename Operation>
    bool Guarded(Operation operation)
    {
        // Made while there is memory.
        static const CString outOfMemory(L"out of memory");
        last = {Error::None, CString()};
        try {
            operation();
            return true;
        } catch (const IndexError& error) {
            last = error;
        } catch (const std::bad_alloc&) {
            last = {Error::Failed, outOfMemory};
        }
        return false;
    }

    void Open(bool writable, bool exclusive, int busyTimeoutMs);
    void UseWriteAheadLog();
    void GiveIdentity();
    void Close();
    SettingsDatum LastJob();
    // Returns the job of the first row; a zero record without one.
    SettingsDatum JobOf(IndexStatement query);
    void Export(const wchar_t* file, const SettingsDatum& job);
    bool HasTable(std::wstring_view name);
    std::vector<DeleteDatum> Deletes(std::int32_t jobId);
    // Returns false, with the last error, when any of them could not be recorded.
    bool RecordAll(const ItemDatum* items, std::size_t count);
    // Returns the items that were recorded: all except those whose key another path has.
    std::vector<const ItemDatum*> WriteItems(const ItemDatum* items, std::size_t count);
    void RefuseKey(const CachedDatum& datum);
    void FollowRecorded(const std::vector<const ItemDatum*>& items);
    void FollowForgotten(const CString& path);
    void FollowDeleted();
    bool OthersHaveWritten() noexcept;
    std::optional<std::uint32_t> FlagsOf(std::uint64_t id);
    void FollowDeleted(std::uint64_t id, bool marksStand);
    void AddToBatch(const NewDelete& record);
    void WriteBatch();
    void WriteDelete(const NewDelete& record);
    std::int64_t DataVersion();
    // Undoes what was not committed; the last error stays.
    void LeaveBatch();
    void ReadItems(ItemCache& cache);
    void RefuseInBatch() const;
};
