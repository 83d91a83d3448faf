// Processes pending deletions: on a thread of its own after a quiet time, or at once on the caller's thread.
//
// The watch thread calls Begin, then Pass once a second. Deletions that could not be settled are tried again after
// pauses that grow: no later event requests them.
//
// A hand-out passes every pending deletion, and those that cannot be settled stay: their drive may be away for weeks.
// This part therefore knows up to which deletion everything was processed. A hand-out has deletions processed at once
// when one has come since then, and otherwise after pauses that grow up to a minute.
#pragma once

#include "orbwatcher4/core/deletions/DeletionPass.h"
#include "orbwatcher4/core/environment/Retry.h"
#include "support/Handle.h"

class Deletions
{
public:
    // The parts must outlive the object.
    Deletions(const DeletionParts& parts, DueEnumerations& due) : m(parts), m_due(due) {}
    ~Deletions() { Join(); }
    Deletions(const Deletions&) = delete;
    Deletions& operator=(const Deletions&) = delete;

    // Sets a function that is called after each record was written, with the lock for deleted files held. Call it
    // before watching.
    void SetListener(DeletionListener listener) { m_listener = std::move(listener); }
    // Processes all pending deletions with the rights of the user. If that fails, they stay pending. Any thread, with
    // no lock held but that of the hand-out.
    void ProcessNow();
    // Does the same for a hand-out that has met a pending deletion, unless all of them were processed a short time ago.
    // Any thread, as above.
    void ProcessForHandOut();

    // Forgets the requests of an earlier watch, and finds out whether exports are due.
    void Begin();
    // Starts the processing when it is time. now: seconds since 1970.
    void Pass(std::int64_t now);
    // Waits for the thread's end; it ends early when the watcher stops.
    void Join();

private:
    friend class WatcherAccess; // tests

    static unsigned __stdcall RunOnThread(void* deletions);
    bool IsDueForHandOut();
    void NoteProcessing() ORB_REQUIRES(m_lock);
    void StartWhenQuiet(std::int64_t now);
    void TryUnsettledAgain(std::int64_t now);
    void NoteRequest(std::int64_t now);
    bool IsQuiet(std::int64_t now) const;
    bool IsThreadRunning() const { return m_thread && !IsSignalled(m_thread.Get()); }

    const DeletionParts m;
    DueEnumerations& m_due;
    DeletionListener m_listener; // constant while watching
    RankedSection m_lock{LockRank::DeletedFiles, L"deleted files"};
    DeletionsLeft m_left;
    std::uint64_t m_processed ORB_GUARDED_BY(m_lock) = 0; // PendingStore::DeletionsNoted at the last processing
    Retry m_forHandOut ORB_GUARDED_BY(m_lock);            // after that processing
    // Only the watch thread uses these.
    KernelHandle m_thread;
    std::int64_t m_lastRequest = 0;  // seconds since 1970; 0: none
    std::int64_t m_firstRequest = 0; // since deletions were processed
    Retry m_settling;
};
