// The threads that enumerate existing files: of all drives, and of one root.
//
// At most one full enumeration runs at a time, and one of each root beside it. Any thread.
#pragma once

#include "orbwatcher4/core/rescan/RootEnumeration.h"
#include "support/Handle.h"

#include <map>

class Enumerator
{
public:
    // isBeingRemoved: returns true for a root that must not be used any more. It and the parts must outlive the object.
    Enumerator(const EnumerationParts& parts, std::function<bool(const CString& root)> isBeingRemoved);
    ~Enumerator() { EndRuns(); }
    Enumerator(const Enumerator&) = delete;
    Enumerator& operator=(const Enumerator&) = delete;

    // Forgets earlier enumerations.
    void Reset();
    // Begins a full enumeration on a thread of its own. reload: loads the selection anew first. Returns false when one
    // is running, when none may begin, or when the start fails; the failure makes one due.
    bool Start(bool reload);
    // Begins an enumeration of one root on a thread of its own. Returns false when one of the root is running, when
    // none may begin, or when the thread cannot be started. Throws std::bad_alloc.
    bool StartOn(const CString& root);
    // From Refuse to Allow, no enumeration begins.
    void Refuse();
    void Allow();
    // Waits for all threads; they end early when the watcher stops.
    void EndRuns();
    bool IsAnyThreadRunning() const;

    // A service has seen the end of a full enumeration.
    void NoteCompleted() noexcept;
    // Hidden enumerations are not reported as running.
    void Hide(int hidden) { m_hidden = hidden; }
    bool IsShownAsRunning() const { return !m_hidden && m_running; }
    bool WasEverStarted() const { return m_everStarted; }
    bool HasCompleted() const { return m_completed; }
    EnumerationProgress Progress() const noexcept;
    RootEnumeration& Roots() { return m_roots; }
    FoundFiles& Found() { return m_roots.Found(); }

private:
    friend class WatcherAccess; // tests

    static unsigned __stdcall RunAll(void* enumerator);
    static unsigned __stdcall RunOne(void* driveAndEnumerator);

    bool BeginFull(bool reload);

    const EnumerationParts m;
    RootEnumeration m_roots;
    mutable RankedSection m_lock{LockRank::FirstTime, L"first-time state", ShortWaitSpins};
    bool m_refusing ORB_GUARDED_BY(m_lock) = false;
    KernelHandle m_thread ORB_GUARDED_BY(m_lock); // of the full enumeration
    std::map<CString, KernelHandle> m_rootThreads ORB_GUARDED_BY(m_lock);
    std::atomic<int> m_rootsRunning{0};
    std::atomic<bool> m_running{false}; // a full one
    std::atomic<bool> m_completed{false};
    std::atomic<bool> m_everStarted{false};
    std::atomic<int> m_hidden{0};
};
