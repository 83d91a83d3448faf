#include "orbwatcher4/core/WatcherState.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/FileFindData.h"
#include "support/SharedAccess.h"

#include <process.h>

const wchar_t* const DeletedFilesEventName = L"F214AB94-4789-451a-ADDC-981BBFE6B59B";
const wchar_t* const DriveUpdateEventName = L"9D86C4E4-CF9D-49BC-B07E-5CDE45FF0083";

WatcherState::WatcherState(COrbWatcher& watcher, bool useDr) : config(useDr), changeHandler(watcher, *this)
{
    deletedFilesEvent = CreateSharedEvent(DeletedFilesEventName, false, false);
    driveUpdateEvent = CreateSharedEvent(DriveUpdateEventName, true, true);
    SetEvent(driveUpdateEvent.Get());
}

WatcherState::~WatcherState()
{
    const CSingleLock lock(selection.primaryLock);
    selection.primary.SetNotificationStore(nullptr);
}

CString WatcherState::DestinationFolder()
{
    const CSingleLock lock(selection.primaryLock);
    return destBackupFolderDB;
}

bool WatcherState::IsKeptOut(const CString& path)
{
    const CSingleLock lock(selection.primaryLock);
    return selection.primary.WhyKeptOut(path) != KeptOut::No;
}

bool WatcherState::IsGone(const CString& path) const { return IsReallyGone(path) && !volumes.IsOther(path); }

void ActingForUser::TellRefusal()
{
    const DWORD error = GetLastError();
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to impersonate user");
    g_OrbLog.Log(L"Last error: %d", error);
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
