// Enumerates existing files: on all drives, and on one. Owns the threads that do it.
//
// At most one full enumeration runs at a time, and one of each root beside it. Any thread.
#pragma once

#include "orbwatcher4/core/rescan/FoundFiles.h"
#include "support/Handle.h"

#include <functional>
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

    // Enumerates what the rules of the drive include, or, without checkRules, all of it, on the calling thread and with
    // the rights of the user. Returns false when that was aborted.
    bool Enumerate(const wchar_t* drive, const wchar_t* pattern, bool checkRules) noexcept;
    bool EnumerateSelected(const wchar_t* drive) noexcept;

    // A service has seen the end of a full enumeration.
    void NoteCompleted() noexcept;
    // Hidden enumerations are not reported as running.
    void Hide(int hidden) { m_hidden = hidden; }
    bool IsShownAsRunning() const { return !m_hidden && m_running; }
    bool WasEverStarted() const { return m_everStarted; }
    bool HasCompleted() const { return m_completed; }
    EnumerationProgress Progress() const noexcept;
    FoundFiles& Found() { return m_found; }

private:
    friend class WatcherAccess; // tests

    static unsigned __stdcall RunAll(void* enumerator);
    static unsigned __stdcall RunOne(void* driveAndEnumerator);

    bool BeginFull(bool reload);
    void EnumerateAllDrives();
    bool EnumerateOne(const CString& root);
    bool EnumerateDrive(const wchar_t* drive, const wchar_t* pattern, bool checkRules);
    bool MayBeWalked(const CString& root) const;
    void LeaveOut(const CString& root);

    const EnumerationParts m;
    const std::function<bool(const CString& root)> m_isBeingRemoved;
    FoundFiles m_found;
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
