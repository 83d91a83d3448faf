#include "directory_changes/DelayedNotificationThread.h"

#include "mfc/CEvent.h"
#include "support/RankedSection.h"

#include <process.h>

#include <atomic>
#include <system_error>

// Shared by the instances of one generation: when the last one goes, the thread is taken out, and whoever
// comes next starts another one without waiting for it.
struct CDelayedNotificationThread::Thread {
    KernelHandle handle;
    DWORD id = 0;
    int instances = 0; // guarded by the shared section

    static unsigned __stdcall Run(void* started);
};

namespace
{

RankedSection& SharedSection()
{
    static RankedSection section(LockRank::Leaf, L"notifier");
    return section;
}

std::atomic<CDelayedNotificationThread::PostFunction> g_post{&PostThreadMessageW};
constexpr const wchar_t* ThreadName = L"notifier thread";

} // namespace

unsigned __stdcall CDelayedNotificationThread::Thread::Run(void* started)
{
    const LockOrder::ThreadScope scope(ThreadName);
    // All handler code runs here: a medium that is taken out must not stop it behind a box.
    SetThreadErrorMode(SEM_FAILCRITICALERRORS, nullptr);
    // Asking for a message makes the queue; only then may anybody post.
    MSG message;
    PeekMessageW(&message, nullptr, WM_USER, WM_USER, PM_NOREMOVE);
    SetEvent(static_cast<HANDLE>(started));
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        auto* event = reinterpret_cast<DelayedEvent*>(message.lParam);
        if (message.message == WM_DELAYED_EVENT && event && event->handler)
            DispatchDelayedEvent(event);
    }
    return 0;
}

static std::shared_ptr<void>& Current()
{
    static std::shared_ptr<void> current; // a Thread; guarded by the shared section
    return current;
}

CDelayedNotificationThread::CDelayedNotificationThread()
{
    const CSingleLock lock(SharedSection());
    if (!Current()) {
        auto thread = std::make_shared<Thread>();
        CEvent started;
        unsigned id = 0;
        thread->handle.Reset(
            reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, &Thread::Run, HANDLE(started), 0, &id)));
        if (!thread->handle)
            throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "notifier thread");
        thread->id = id;
        // The new thread takes no lock before it answers. It answers or ends.
        const HANDLE either[] = {started, thread->handle.Get()};
        WaitForMultipleObjects(2, either, FALSE, INFINITE);
        Current() = thread;
    }
    m_thread = std::static_pointer_cast<Thread>(Current());
    ++m_thread->instances;
}

CDelayedNotificationThread::~CDelayedNotificationThread()
{
    {
        const CSingleLock lock(SharedSection());
        if (--m_thread->instances > 0)
            return;
        Current().reset();
    }
    PostThreadMessageW(m_thread->id, WM_QUIT, 0, 0);
    // A handler that ends the last watch runs on the thread itself, which then ends by itself.
    if (IsNotifierThread())
        return;
    const LockOrder::WaitScope wait(ThreadName);
    WaitForSingleObject(m_thread->handle.Get(), INFINITE);
}

bool CDelayedNotificationThread::PostEvent(DelayedEvent* event)
{
    // The system holds a limited number of messages for a thread. A refused event waits for the notifier
    // to get on; it is dropped only when there is nobody left to receive it.
    constexpr DWORD pause = 10;
    while (!g_post.load()(m_thread->id, WM_DELAYED_EVENT, 0, reinterpret_cast<LPARAM>(event))) {
        const bool ended = IsNotifierThread() || WaitForSingleObject(m_thread->handle.Get(), pause) == WAIT_OBJECT_0;
        if (ended) {
            FreeDelayedEvent(event);
            return false;
        }
    }
    return true;
}

bool CDelayedNotificationThread::IsNotifierThread() const { return GetCurrentThreadId() == m_thread->id; }
bool CDelayedNotificationThread::HasEnded() const { return IsSignalled(m_thread->handle.Get()); }

DWORD CDelayedNotificationThread::CurrentThreadId()
{
    const CSingleLock lock(SharedSection());
    return Current() ? std::static_pointer_cast<Thread>(Current())->id : 0;
}

void CDelayedNotificationThread::SetPostFunction(PostFunction post) { g_post = post ? post : &PostThreadMessageW; }
