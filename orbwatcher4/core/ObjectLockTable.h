// Locks for objects that have none of their own, found by the object's address.
//
// A lock is made when it gets its rank, so that destructors need no memory to lock it, or when it is first requested.
// It lives as long as the table. The thread that holds it may lock it again. Any thread.
#pragma once

#include "support/RankedSection.h"

#include <map>
#include <memory>
#include <utility>

class ObjectLockTable
{
public:
    // Sets the place of the object's lock in the lock order. Call it before the first use.
    void SetRank(const void* object, LockRank rank, const wchar_t* name);
    // Locks, and returns the lock: unlocking it needs no second look-up.
    RankedSection& Lock(const void* object);
    // Does nothing for an object that was never locked.
    void Unlock(const void* object);

private:
    static constexpr DWORD TableSpins = 1000;
    static constexpr DWORD ObjectSpins = 500;
    struct Entry {
        LockRank rank = LockRank::Unranked;
        const wchar_t* name = L"object";
        std::unique_ptr<RankedSection> section;
    };

    CCriticalSection m_section{TableSpins}; // no other lock is requested while it is held
    std::map<const void*, Entry> m_entries;
};

// Holds an object's lock in its scope. It may be left and entered again.
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
