// The drives of the selection, as the watch thread knows them, and the reports of the service about them.
//
// Any thread. The watch thread changes which drives there are, and so does Move, on a thread of the service. No thread
// asks the disk, or begins or ends a watch, with the lock held: a share that is away may take long to answer.
#pragma once

#include "orbwatcher4/core/selection/Selection.h"
#include "support/Handle.h"

#include "mfc/CEvent.h"

#include <atomic>
#include <functional>
#include <map>
#include <optional>
#include <set>
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
    using List = std::map<CString, Drive, RootBefore>;

    explicit Drives(Selection& selection);

    // Moves the rules, and the knowledge about the volume, to the letter under which a volume has come.
    void Move(const CString& root);
    // Marks a drive that is to be removed; it counts as removed until it is gone, the service reports its return, or
    // the next watch begins. Returns when the watch thread has stopped watching it; at once when no thread does, or
    // when the selection does not have it.
    void Remove(const CString& root);
    // Returns nothing when the selection does not have the drive.
    std::optional<Drive::State> StateOf(const CString& root) const;
    List All() const;
    std::vector<CString> WatchedRoots() const;

    // The watch thread calls the following.

    // From here on the watch thread releases drives, until NoteEnd.
    void NoteBegin();
    void NoteEnd();
    // Tells the callers of Remove that their drives are released. Returns false when one is watched that is being
    // removed: end its watch, and call again.
    bool NoteReleased(const std::function<bool(const CString&)>& isWatched);
    void NoteWatched(const std::function<bool(const CString&)>& isWatched);
    // Begins the reading of the list without the lock. Returns a number for Replace. Reports of the service that come
    // before the list is taken over are applied to it.
    std::uint64_t BeginReading();
    // Takes over the list that was read. States::AreKept: those of drives for which the rules still expect the same
    // volume. A drive that is being removed stays so. Returns false when a drive was moved meanwhile: the list is
    // older; read it again.
    enum class States { AreRead, AreKept };
    bool Replace(List fresh, States states, std::uint64_t reading);
    // Changes the state of a drive. Returns false when it is another one than `from` meanwhile.
    bool Change(const CString& root, Drive::State from, Drive::State to);

private:
    friend class WatcherAccess; // tests

    static constexpr const wchar_t* EventName = L"9D86C4E4-CF9D-49BC-B07E-5CDE45FF0083";

    void NoteReleased();
    void MoveRules(CString from, const CString& to) ORB_REQUIRES(m_lock);

    Selection& m_selection;
    mutable RankedSection m_lock{LockRank::DriveList, L"drive list"};
    List m_list ORB_GUARDED_BY(m_lock);
    std::vector<CString> m_watchedRoots ORB_GUARDED_BY(m_lock);
    std::uint64_t m_moves ORB_GUARDED_BY(m_lock) = 0; // how often a drive was moved
    // All watchers on the machine share the named event, so another one may have set it.
    KernelHandle m_sharedReleased;
    CEvent m_released{true, true};
    std::atomic<bool> m_followed{false};
    bool m_isBeingRead ORB_GUARDED_BY(m_lock) = false;
    // Roots that came while the list was being read, and whose volume it did not have.
    std::set<CString, RootBefore> m_arrived ORB_GUARDED_BY(m_lock);
};
