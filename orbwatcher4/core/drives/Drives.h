// The drives of the selection, as the watch thread knows them, and the reports of the service about them.
//
// Any thread. The watch thread changes which drives there are, and so does Move, on a thread of the service. The watch
// thread takes the lock also while it starts and ends the drives' watches.
#pragma once

#include "orbwatcher4/core/selection/Selection.h"
#include "support/Handle.h"

#include "mfc/CEvent.h"

#include <atomic>
#include <map>
#include <vector>

// A drive of the selection.
struct Drive {
    enum class State {
        Away,         // it is not there, or its letter holds another volume
        Present,      // its volume is there: it is watched, or is tried again
        BeingRemoved, // it is let go, until it is gone or the service reports its return
    };
    std::int32_t serial = 0; // of the volume that the rules expect; 0: any
    State state = State::Away;
};

class Drives
{
public:
    explicit Drives(Selection& selection);

    // Moves the rules, and the knowledge about the volume, to the letter under which a volume has come.
    void Move(const CString& root);
    // Marks a drive that is to be removed. Returns when the watch thread has stopped watching it; at once when no
    // thread does, or when the selection does not have it.
    void Remove(const CString& root);
    bool IsBeingRemoved(const CString& root) const;
    // Returns false for an absent drive, for a letter that holds another volume, and for a drive that is being removed.
    // Call it with the lock held.
    bool IsPresent(const CString& root) const;
    std::vector<CString> WatchedRoots() const;

    // From here on the watch thread releases drives, until NoteEnd.
    void NoteBegin() { m_followed = true; }
    void NoteEnd();
    // Tells the callers of Remove that the watch thread has looked for drives to release.
    void NoteReleased();

    mutable RankedSection lock{LockRank::DriveList, L"drive list"};
    std::map<CString, Drive, RootBefore> list ORB_GUARDED_BY(lock);
    std::vector<CString> watchedRoots ORB_GUARDED_BY(lock);

private:
    friend class WatcherAccess; // tests

    static constexpr const wchar_t* EventName = L"9D86C4E4-CF9D-49BC-B07E-5CDE45FF0083";

    Selection& m_selection;
    // All watchers on the machine share the named event, so another one may have set it.
    KernelHandle m_sharedReleased;
    CEvent m_released{true, true};
    std::atomic<bool> m_followed{false};
};
