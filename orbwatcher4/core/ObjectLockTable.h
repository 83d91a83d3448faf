// Locks for objects that have none of their own, found by the object's address.
//
// A lock is made when it gets its rank, so that destructors need no memory to enter
// it, or when it is first asked for, and lives as long as the table. It may be
// entered again by the thread that is inside. Any thread.
#pragma once

#include "support/RankedSection.h"

#include <map>
#include <memory>
#include <utility>

class ObjectLockTable
{
public:
    // Where the object's lock stands in the lock order. Before its first use.
    void SetRank(const void* object, LockRank rank, const wchar_t* name);
    // The lock as it is now held: leaving that needs no second look at the table.
    RankedSection& Lock(const void* object);
    // Nothing happens for an object that was never locked.
    void Unlock(const void* object);

private:
    static constexpr DWORD TableSpins = 1000;
    static constexpr DWORD ObjectSpins = 500;
    struct Entry {
        LockRank rank = LockRank::Unranked;
        const wchar_t* name = L"object";
        std::unique_ptr<RankedSection> section;
    };

    CCriticalSection m_section{TableSpins}; // never held while another lock is asked for
    std::map<const void*, Entry> m_entries;
};

// Holds an object's lock for as long as it lives; may be left and entered again.
class ObjectLock
{
public:
    ObjectLock(ObjectLockTable& table, const void* object) : m_table(table), m_object(object) { Enter(); }
    ~ObjectLock() { Leave(); }
    ObjectLock(const ObjectLock&) = delete;
    ObjectLock& operator=(const ObjectLock&) = delete;

    void Enter()
    {
        if (!m_held)
            m_held = &m_table.Lock(m_object);
    }
    void Leave()
    {
        if (RankedSection* const held = std::exchange(m_held, nullptr))
            held->Unlock();
    }

private:
    ObjectLockTable& m_table;
    const void* const m_object;
    RankedSection* m_held = nullptr;
};
