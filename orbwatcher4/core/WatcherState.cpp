#include "orbwatcher4/core/WatcherState.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/WatchLoop.h"
#include "support/SharedAccess.h"

#include <process.h>

const wchar_t* const DeletedFilesEventName = L"F214AB94-4789-451a-ADDC-981BBFE6B59B";
const wchar_t* const DriveUpdateEventName = L"9D86C4E4-CF9D-49BC-B07E-5CDE45FF0083";

namespace
{

FileWriter g_writer;

} // namespace

WatcherState::WatcherState(COrbWatcher& watcher, bool useDr)
    : online(std::make_shared<OnlineCallbackHandler>()),
      changeHandler(watcher, *this),
      useDrDeleteMap(useDr),
      writer(&g_writer)
{
    for (KeySet* set : {&ignoredNames, &ignoredExtensions, &ignoredFolders})
        set->set_empty_key(0xFFFFFFFFFFFFFFFFull);
    locks.SetRank(&filter, LockRank::PrimaryFilter, L"primary filter");
    locks.SetRank(&secondaryFilter, LockRank::SecondaryFilter, L"secondary filter");
    locks.SetRank(&store, LockRank::Store, L"store");
    locks.SetRank(&firstTime, LockRank::FirstTime, L"first-time state");
    deletedFilesEvent = CreateSharedEvent(DeletedFilesEventName, false, false);
    driveUpdateEvent = CreateSharedEvent(DriveUpdateEventName, true, true);
    SetEvent(driveUpdateEvent.Get());
}

WatcherState::~WatcherState()
{
    const ObjectLock lock(locks, &filter);
    filter.SetNotificationStore(nullptr);
}

bool WatcherState::IsGone(const CString& path) const { return IsReallyGone(path) && !volumes.IsOther(path); }

bool WatcherState::MakeFullEnumerationDue() noexcept
{
    firstTime.dueAgain = true;
    bool written = false;
    Completes(L"Making a full enumeration due", [&] { written = WriteEnumerationDue(); });
    m_dueUnwritten = !written;
    if (!written)
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to make a full enumeration due");
    return written;
}

bool WatcherState::KeepEnumerationDue() noexcept { return !m_dueUnwritten || MakeFullEnumerationDue(); }

bool WatcherState::WriteEnumerationDue()
{
    CServiceRunSettings& settings = GetServiceRunSettings();
    // Many folders may be given up one after the other; once is enough, unless another process has noted a run since
    // then. (A value that is not there is written.)
    if (m_enumerationDue && settings.Load() && settings.GetValue(FirstTimeRunTimeKey, 1) == 0)
        return true;
    settings.SetValue(FirstTimeRunTimeKey, 0);
    return m_enumerationDue = settings.Save();
}

void WatcherState::BeginRun()
{
    KeepEnumerationDue();
    // The marks of earlier runs stay where they cannot be looked for, and are found by a later start.
    Completes(L"Looking for an unclean end", [this] { NoticeUncleanEnd(); });
    Completes(L"Noting that this run has begun", [this] { runningMark.Set(); });
}

void WatcherState::NoticeUncleanEnd()
{
    const std::vector<CString> left = RunningMark::FindLeft();
    if (left.empty())
        return;
    g_OrbLog.WriteLog(1, L"OrbWatcher", __LINE__, L"The last run did not end in an orderly way");
    WatchLoop::ForgetLastCheck();
    if (MakeFullEnumerationDue())
        for (const CString& mark : left)
            DeleteFileW(mark);
}

KernelHandle StartWatcherThread(unsigned(__stdcall* entry)(void*), void* argument)
{
    return KernelHandle(reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, entry, argument, 0, nullptr)));
}

void JoinWatcherThread(KernelHandle& thread, const wchar_t* name)
{
    if (!thread)
        return;
    const LockOrder::WaitScope wait(name);
    WaitForSingleObject(thread.Get(), INFINITE);
    thread.Reset();
}

KernelHandle CreateSharedEvent(const wchar_t* name, bool manualReset, bool initiallySet)
{
    SharedAccess everyone;
    return KernelHandle(CreateEventW(everyone.Attributes(), manualReset, initiallySet, name));
}
