// The roots that new rules have named, until the watch thread watches them. Any thread.
#pragma once

#include "mfc/CString.h"
#include "support/RankedSection.h"

#include <algorithm>
#include <atomic>
#include <set>

class RequestedRoots
{
public:
    // A watcher that does not watch begins with all roots of its selection, so NoteOtherRules notes nothing for it.
    // Request notes a root in any case; the first pass finds that it is watched.
    void SetWatching(bool watching) { m_watching = watching; }
    bool IsWatching() const { return m_watching; }

    // The watch thread watches the root of the path from its next pass on.
    void Request(const wchar_t* path);
    // Makes the watch thread read the rules anew: roots that they no longer name are not watched any more.
    void NoteOtherRules();

    bool AreThereAny() const { return m_any; }
    // Returns the requested roots, and forgets them. Later requests are for the next call.
    std::set<CString> Take();
    // Puts a root back that could not be watched yet. Null: only the rules are to be read anew.
    void GiveBack(std::set<CString>::node_type root);
    // Returns true when `holds` is true for each requested root. `holds` is called with the lock held.
    template <typename Predicate>
    bool AllOf(Predicate holds) const
    {
        const CSingleLock lock(m_lock);
        return std::all_of(m_roots.begin(), m_roots.end(), holds);
    }

private:
    friend class WatcherAccess; // tests

    mutable RankedSection m_lock{LockRank::PendingDrives, L"pending drives"};
    std::set<CString> m_roots ORB_GUARDED_BY(m_lock);
    std::atomic<bool> m_any{false}; // set and cleared inside m_lock
    std::atomic<bool> m_watching{false};
};
