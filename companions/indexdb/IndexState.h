// The implementation of CIndexDB: its connection, its last error, and the one way in which its operations run. The
// operations are grouped by topic: OrbIndexDB.cpp (the database), IndexRecords.cpp (jobs, plugins, delete records,
// which DeleteRecords writes), IndexItems.cpp (items), IndexCache.cpp (the process's cache).
#pragma once

#include "companions/indexdb/DeleteRecords.h"
#include "companions/indexdb/IndexCache.h"
#include "companions/indexdb/IndexConnection.h"
#include "companions/indexdb/KeyOwners.h"
#include "support/RankedSection.h"

#include <cstdint>
#include <new>
#include <span>
#include <vector>

struct CIndexDB::State {
    // One thread at a time uses the object. The lock is for the check of the lock order: no operation on a database may
    // take a lock of the watcher.
    RankedSection section{LockRank::Database, L"index database"};
    CString path;
    IndexConnection connection;
    FileIdentity identity;
    DeleteRecords deletes{section, connection, identity}; // closed before the connection, as the next one
    IndexStatement children;                              // of the open BeginFolderChildrenRead
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

    void Close();
    void Export(const wchar_t* file, const SettingsDatum& job);
    // Returns false, with the last error, when any of them could not be recorded.
    bool RecordAll(std::span<const ItemDatum> items);
    // Removes the items whose key another path has, and records the others. Returns the number of the change of items.
    std::int64_t WriteItems(std::vector<RecordedItem>& items, KeyOwners& owners);
    bool IsRefused(const CachedDatum& item, const CString& owner);
};
