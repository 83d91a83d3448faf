// Handles the service's reports about drives: a drive came under another letter, or is removed.
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/WatcherState.h"

#include <algorithm>

namespace
{

constexpr DWORD EndCheckInterval = 1000; // milliseconds

} // namespace

void COrbWatcher::SetRescanListener(std::function<void(const CString& root, const char* reason)> listener)
{
    m->rescanListener = std::move(listener);
}

void COrbWatcher::UpdateDrive(const wchar_t* drive, WatcherEnum::DriveAction action)
{
    Completes(L"The update of a drive", [&] {
        const CString root = CString(drive).MakeLower();
        if (action == WatcherEnum::DriveReappeared)
            MoveDrive(root);
        else if (action == WatcherEnum::DriveRemoved)
            RemoveDrive(root);
    });
}

// Moves the rules, and the knowledge about the volume, to its new letter.
void COrbWatcher::MoveDrive(const CString& root)
{
    DWORD serial = 0;
    wchar_t name[260];
    if (!GetVolumeInformationW(RootOf(root), name, 260, &serial, nullptr, nullptr, nullptr, 0) || serial == 0)
        return;
    const CSingleLock drives(m->driveListLock);
    if (const auto same = m->drives.find(root); same != m->drives.end())
        same->second.removed = 0; // it may have returned before the watcher noticed that it was gone
    const auto old = std::find_if(m->drives.begin(), m->drives.end(), [&](const auto& entry) {
        return entry.second.serial == static_cast<std::int32_t>(serial) && entry.first != root;
    });
    if (old == m->drives.end())
        return;
    {
        const CSingleLock lock(m->selection.primaryLock);
        m->selection.primary.MoveDriveRules(old->first, root);
    }
    DriveGuidInfo known = old->second;
    known.removed = 0; // it had the old letter
    m->drives[root] = known;
    m->drives.erase(old);
    m->volumes.Follow(m->drives);
}

// Returns when the watch thread has stopped watching the drive; at once when there is no watch thread.
void COrbWatcher::RemoveDrive(const CString& root)
{
    {
        const CSingleLock drives(m->driveListLock);
        const auto found = m->drives.find(root);
        if (found == m->drives.end())
            return;
        found->second.removed = 1;
        if (!m->watchThreadRuns)
            return;
        m->driveUpdated.ResetEvent();
        ResetEvent(m->driveUpdateEvent.Get());
    }
    const LockOrder::WaitScope wait(WatchThreadName);
    while (!m->driveUpdated.Lock(EndCheckInterval) && m->watchThreadRuns)
        ;
}

bool COrbWatcher::GetWatchedDrives(CString& out)
{
    Completes(L"GetWatchedDrives", [&] {
        CString letters;
        {
            const CSingleLock lock(m->selection.primaryLock);
            for (const auto& [root, drive] : m->selection.primary.GenerateDriveList())
                if (root.GetLength() > 2 && root[1] == L':')
                    letters += static_cast<wchar_t>(towupper(root[0]));
        }
        out += letters;
    });
    return true;
}
