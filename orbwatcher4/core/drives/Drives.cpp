#include "orbwatcher4/core/drives/Drives.h"

#include "orbwatcher4/core/environment/FileFindData.h"
#include "orbwatcher4/core/environment/SharedEvent.h"
#include "orbwatcher4/core/environment/WatcherThread.h"

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
    DWORD serial = 0;
    wchar_t name[260];
    if (!GetVolumeInformationW(RootOf(root), name, 260, &serial, nullptr, nullptr, nullptr, 0) || serial == 0)
        return;
    const CSingleLock drives(lock);
    if (const auto same = list.find(root); same != list.end())
        LetStay(same->second); // it may have returned before the watcher noticed that it was gone
    const auto old = std::find_if(list.begin(), list.end(), [&](const auto& entry) {
        return entry.second.serial == static_cast<std::int32_t>(serial) && entry.first != root;
    });
    if (old == list.end())
        return;
    {
        const CSingleLock filter(m_selection.primaryLock);
        m_selection.primary.MoveDriveRules(old->first, root);
    }
    LetStay(old->second);
    list[root] = old->second;
    list.erase(old);
    m_selection.volumes.Follow(list);
}

void Drives::Remove(const CString& root)
{
    {
        const CSingleLock drives(lock);
        const auto found = list.find(root);
        if (found == list.end())
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

bool Drives::IsBeingRemoved(const CString& root) const
{
    const CSingleLock drives(lock);
    const auto known = list.find(root);
    return known != list.end() && known->second.state == Drive::State::BeingRemoved;
}

bool Drives::IsPresent(const CString& root) const
{
    lock.RequireHeld();
    const auto drive = list.find(root);
    return drive != list.end() && drive->second.state == Drive::State::Present;
}

std::vector<CString> Drives::WatchedRoots() const
{
    const CSingleLock drives(lock);
    return watchedRoots;
}

void Drives::NoteEnd()
{
    m_followed = false;
    NoteReleased();
}

// The shared event only tells that some watcher has released a drive. So this watcher has an event of its own.
void Drives::NoteReleased()
{
    m_released.SetEvent();
    SetEvent(m_sharedReleased.Get());
}
