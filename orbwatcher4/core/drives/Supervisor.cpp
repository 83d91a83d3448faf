#include "orbwatcher4/core/drives/Supervisor.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/environment/WatcherThread.h"

unsigned __stdcall Supervisor::RunOnThread(void* supervisor)
{
    const COrbFuncLog guard(L"COrbWatcher::_WatchThread");
    const WatcherThreadScope scope(WatchThreadName);
    auto& self = *static_cast<Supervisor*>(supervisor);
    if (!Completes(L"The watch thread", [&] { WatchLoop(self.m, self.m_ready, self.m_listener).Run(); }))
        self.m.due.MakeFull();
    self.m.drives.NoteEnd();
    return 0;
}

void Supervisor::Start()
{
    ForgetReady();
    m.drives.NoteBegin();
    m_thread = StartWatcherThread(&RunOnThread, this);
    if (m_thread)
        return;
    // The service continues; the next watcher that runs makes up for the changes meanwhile.
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to start the watch thread: %d", GetLastError());
    m.drives.NoteEnd();
    m.due.MakeFull();
}

void Supervisor::Join() { JoinWatcherThread(m_thread, WatchThreadName); }
