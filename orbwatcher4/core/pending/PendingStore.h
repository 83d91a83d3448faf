// The pending changes of a watcher, behind their lock. Any thread.
#pragma once

#include "orbwatcher4/core/pending/DeletionRequests.h"
#include "orbwatcher4/core/pending/NotificationStore.h"
#include "orbwatcher4/core/pending/ReplacedFolders.h"
#include "support/RankedSection.h"

#include <atomic>

class PendingStore
{
public:
    // The locked store: no other thread uses the store as long as an object lives, except between Leave and Enter.
    class Locked
    {
    public:
        explicit Locked(PendingStore& pending) ORB_UNCHECKED_LOCKS : m_lock(pending.m_lock), m_pending(pending) {}
        ~Locked() ORB_UNCHECKED_LOCKS {} // clang takes the lock for one that the caller holds
        Locked(const Locked&) = delete;
        Locked& operator=(const Locked&) = delete;

        NotificationStore* operator->() const ORB_UNCHECKED_LOCKS { return &m_pending.m_store; }
        NotificationStore& operator*() const ORB_UNCHECKED_LOCKS { return m_pending.m_store; }
        ReplacedFolders& Replaced() const ORB_UNCHECKED_LOCKS { return m_pending.m_replaced; }
        bool IsEmpty() const { return m_pending.Count() == 0; }
        // Unlocks the store for the rest of the object's life, or until Enter.
        void Leave() ORB_UNCHECKED_LOCKS { m_lock.Unlock(); }
        void Enter() ORB_UNCHECKED_LOCKS { m_lock.Lock(); }

    private:
        CSingleLock m_lock;
        PendingStore& m_pending;
    };

    // Unlocks a locked store in its scope.
    class Left
    {
    public:
        explicit Left(Locked& store) : m_store(store) { m_store.Leave(); }
        ~Left() { m_store.Enter(); }
        Left(const Left&) = delete;
        Left& operator=(const Left&) = delete;

    private:
        Locked& m_store;
    };

    // One look or change, with the store locked for it.
    NotificationPtr Find(const CString& path) { return Locked(*this)->Find(path); }
    bool Put(const CString& path, NotificationPtr notification) { return Locked(*this)->Put(path, notification); }
    void Erase(const CString& path) { Locked(*this)->Erase(path); }
    void Clear()
    {
        const Locked store(*this);
        store->Clear();
        store.Replaced().Clear();
    }

    // Returns a copy of the store's entries, in their order.
    std::vector<NotificationStore::Entry> Entries()
    {
        const Locked store(*this);
        std::vector<NotificationStore::Entry> entries;
        entries.reserve(static_cast<std::size_t>(store->LiveCount()));
        store->ForEach([&](const CString& path, const NotificationPtr& notification) {
            entries.push_back({path, notification});
            return true;
        });
        return entries;
    }

    // With or without the lock.
    std::int64_t Count() const ORB_UNCHECKED_LOCKS { return m_store.LiveCount() + m_replaced.Count(); }
    const ItemCounters& Counters() const ORB_UNCHECKED_LOCKS { return m_store.Counters(); }
    // Returns a number that grows with each deletion that becomes pending.
    std::uint64_t DeletionsNoted() const ORB_UNCHECKED_LOCKS
    {
        return m_store.DeletionsPut() + m_replaced.DeletionsPut();
    }

    // A removal was aborted, so entries may be pending that are no longer selected.
    std::atomic<bool> mayHoldUnselected{false};
    // The requests to process the deletions among the entries.
    DeletionRequests deletionRequests;

private:
    RankedSection m_lock{LockRank::Store, L"store", ShortWaitSpins};
    NotificationStore m_store ORB_GUARDED_BY(m_lock);
    ReplacedFolders m_replaced ORB_GUARDED_BY(m_lock);
};
