#include "orbwatcher4/core/drives/Drives.h"

#include "orbwatcher4/core/environment/FileFindData.h"
#include "orbwatcher4/core/environment/SharedEvent.h"
#include "orbwatcher4/core/environment/WatcherThread.h"
#include "support/VolumeSerial.h"

#include <algorithm>

namespace
{

constexpr DWORD EndCheckInterval = 1000; // milliseconds

// A drive that is not to be removed any more counts as present; the next pass looks whether it is.
void LetStay(Drive& drive)
{
    if (drive.state == Drive::State::BeingRemoved)
        drive.state = Drive::State::Present;
}

} // namespace

Drives::Drives(Selection& selection)
    : m_selection(selection),
      m_sharedReleased(CreateSharedEvent(EventName, true, true))
{
    SetEvent(m_sharedReleased.Get());
}

void Drives::Move(const CString& root)
{
    const std::int32_t serial = VolumeSerial(RootOf(root)).value_or(0);
    const CSingleLock files(m_selection.filesLock); // rules that are being loaded would keep the old letter
    const CSingleLock lock(m_lock);
    if (const auto same = m_list.find(root); same != m_list.end())
        LetStay(same->second); // it may have returned before the watcher noticed that it was gone
    if (serial == 0)
        return;
    const auto old = std::find_if(m_list.begin(), m_list.end(), [&](const auto& entry) {
        return entry.second.serial == serial && entry.first != root;
    });
    if (old != m_list.end())
        MoveRules(old->first, root);
    else if (m_isBeingRead)
        m_arrived.insert(root);
}

// Comes to nothing when memory is exhausted before the rules are moved.
void Drives::MoveRules(const CString from, const CString& to)
{
    List moved = m_list;
    moved[to] = moved[from];
    LetStay(moved[to]);
    moved.erase(from);
    {
        const CSingleLock filter(m_selection.primaryLock);
        m_selection.primary.MoveDriveRules(from, to);
    }
    ++m_moves;
    m_list.swap(moved);
    m_selection.volumes.Follow(m_list);
}

void Drives::Remove(const CString& root)
{
    {
        const CSingleLock lock(m_lock);
        if (m_isBeingRead)
            m_list.try_emplace(root); // the new list may have it
        const auto found = m_list.find(root);
        if (found == m_list.end())
            return;
        found->second.state = Drive::State::BeingRemoved;
        if (!m_followed)
            return;
        m_released.ResetEvent();
        ResetEvent(m_sharedReleased.Get());
    }
    const LockOrder::WaitScope wait(WatchThreadName);
    while (!m_released.Lock(EndCheckInterval) && m_followed)
        ;
}

std::optional<Drive::State> Drives::StateOf(const CString& root) const
{
    const CSingleLock lock(m_lock);
    const auto known = m_list.find(root);
    return known == m_list.end() ? std::nullopt : std::optional(known->second.state);
}

Drives::List Drives::All() const
{
    const CSingleLock lock(m_lock);
    return m_list;
}

std::vector<CString> Drives::WatchedRoots() const
{
    const CSingleLock lock(m_lock);
    return m_watchedRoots;
}

void Drives::NoteBegin()
{
    const CSingleLock lock(m_lock);
    m_followed = true;
    m_isBeingRead = true;
    for (auto& [root, drive] : m_list)
        LetStay(drive);
}

void Drives::NoteEnd()
{
    m_followed = false;
    NoteReleased();
}

bool Drives::NoteReleased(const std::function<bool(const CString&)>& isWatched)
{
    const CSingleLock lock(m_lock);
    for (const auto& [root, drive] : m_list)
        if (drive.state == Drive::State::BeingRemoved && isWatched(root))
            return false;
    NoteReleased();
    return true;
}

// The shared event only tells that some watcher has released a drive. So this watcher has an event of its own.
void Drives::NoteReleased()
{
    m_released.SetEvent();
    SetEvent(m_sharedReleased.Get());
}

void Drives::NoteWatched(const std::function<bool(const CString&)>& isWatched)
{
    const CSingleLock lock(m_lock);
    m_watchedRoots.clear();
    for (const auto& [root, drive] : m_list)
        if (isWatched(root))
            m_watchedRoots.push_back(root);
}

std::uint64_t Drives::BeginReading()
{
    const CSingleLock lock(m_lock);
    m_isBeingRead = true;
    return m_moves;
}

bool Drives::Replace(List fresh, States states, std::uint64_t reading)
{
    std::set<CString, RootBefore> arrived;
    {
        const CSingleLock lock(m_lock);
        if (reading != m_moves)
            return false;
        for (const auto& [root, known] : m_list) {
            const auto drive = fresh.find(root);
            const bool keeps =
                states == States::AreKept && drive != fresh.end() && drive->second.serial == known.serial;
            // The pass that checks the drive notices its return.
            if (drive != fresh.end() && (keeps || known.state == Drive::State::BeingRemoved))
                drive->second.state = known.state;
        }
        m_list.swap(fresh);
        m_isBeingRead = false;
        m_selection.volumes.Follow(m_list);
        arrived.swap(m_arrived);
    }
    for (const CString& root : arrived)
        Move(root);
    return true;
}

bool Drives::Change(const CString& root, Drive::State from, Drive::State to)
{
    const CSingleLock lock(m_lock);
    const auto known = m_list.find(root);
    if (known == m_list.end() || known->second.state != from)
        return false;
    known->second.state = to;
    return true;
}
