#include "orbwatcher4/core/WatcherState.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/FileFindData.h"
#include "support/Backslash.h"
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

std::set<CString> WatcherState::Destinations()
{
    const CSingleLock lock(selection.primaryLock);
    std::set<CString> folders;
    for (const CString& folder : {selection.primary.BackupFolder(), OrbFilter::SystemForm(destBackupFolderDB)})
        if (!folder.IsEmpty())
            folders.insert(WithBackslash(folder));
    return folders;
}

void WatcherState::NoticeSelection(const CString& content)
{
    Completes(L"Comparing the selection with that of the last run", [&] {
        due.NoticeAnotherSelection(content);
        due.NoticeOtherDestinations(Destinations());
    });
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
