#include "directory_changes/DelayedNotificationThread.h"

#include "directory_changes/EventQueue.h"
#include "directory_changes/LastError.h"
#include "mfc/CEvent.h"
#include "support/RankedSection.h"

#include <process.h>

#include <atomic>
#include <optional>
#include <system_error>

// Shared by the instances of one generation: when the last one goes, the thread is taken out, and whoever
// comes next starts another one without waiting for it.
struct CDelayedNotificationThread::Thread {
    KernelHandle handle;
    DWORD id = 0;
    int instances = 0;              // guarded by the shared section
    std::atomic<DWORD> waitsFor{0}; // a worker, while a handler waits for its end
    CEvent waits{false, true};      // waitsFor has been set
    EventQueue queue{};

    struct Beginning {
        std::shared_ptr<Thread> thread;
        CEvent started{};
    };
    static thread_local Thread* t_own; // on a notifier's thread: that one

    static unsigned __stdcall Run(void* beginning);
    void WaitForEnd() const;
    void WaitUnlessWaitedFor() const;
    void Dispatch();
    bool HasEndedAfter(DWORD milliseconds) const;
    bool Wake(EventQueue::WakeTicket ticket);
};

thread_local CDelayedNotificationThread::Thread* CDelayedNotificationThread::Thread::t_own = nullptr;

namespace
{

RankedSection& SharedSection()
{
    static RankedSection section(LockRank::Leaf, L"notifier");
    return section;
}

std::atomic<CDelayedNotificationThread::PostFunction> g_post{&PostThreadMessageW};
std::atomic<std::size_t> g_mostQueued{CDelayedNotificationThread::MostQueued};
constexpr const wchar_t* ThreadName = L"notifier thread";
constexpr DWORD RefusedPostPause = 10; // milliseconds
thread_local bool t_isWorker = false;

} // namespace

unsigned __stdcall CDelayedNotificationThread::Thread::Run(void* beginning)
{
    auto& [thread, started] = *static_cast<Beginning*>(beginning);
    // It lives as long as the thread, whoever has let go of it.
    const std::shared_ptr<Thread> own = thread;
    t_own = own.get();
    const LockOrder::ThreadScope scope(ThreadName);
    // All handler code runs here: a medium that is taken out must not stop it behind a box.
    SetThreadErrorMode(SEM_FAILCRITICALERRORS, nullptr);
    // Asking for a message makes the queue; only then may anybody post.
    MSG message;
    PeekMessageW(&message, nullptr, WM_USER, WM_USER, PM_NOREMOVE);
    started.SetEvent();
    while (GetMessageW(&message, nullptr, 0, 0) > 0)
        Receive(message);
    return 0;
}

// A handler that waits pumps: then this runs within itself, and goes on behind what the inner one has dispatched.
void CDelayedNotificationThread::Thread::Dispatch()
{
    queue.BeginDrain();
    while (DelayedEvent* event = queue.Take())
        DispatchDelayedEvent(event);
}

namespace
{

std::shared_ptr<void>& Current()
{
    static std::shared_ptr<void> current; // a Thread; guarded by the shared section
    return current;
}

} // namespace

CDelayedNotificationThread::CDelayedNotificationThread()
{
    const CSingleLock lock(SharedSection());
    if (!Current()) {
        auto thread = std::make_shared<Thread>();
        Thread::Beginning beginning{thread};
        unsigned id = 0;
        thread->handle.Reset(reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, &Thread::Run, &beginning, 0, &id)));
        if (!thread->handle)
            throw std::system_error(static_cast<int>(LastErrorOr(ERROR_MAX_THRDS_REACHED)), std::system_category(),
                                    "notifier thread");
        thread->id = id;
        // The new thread takes no lock before it answers. It answers or ends.
        const HANDLE either[] = {beginning.started, thread->handle.Get()};
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
    // A handler that ends the last watch runs on the thread itself, which then ends by itself.
    if (CDelayedNotificationThread::IsNotifierThread()) {
        PostQuitMessage(0);
        return;
    }
    // As an event, the end may be refused while the thread's queue is full.
    while (!PostThreadMessageW(m_thread->id, WM_QUIT, 0, 0))
        if (WaitForSingleObject(m_thread->handle.Get(), RefusedPostPause) == WAIT_OBJECT_0)
            return;
    m_thread->WaitForEnd();
}

void CDelayedNotificationThread::Thread::WaitForEnd() const
{
    if (t_isWorker)
        return WaitUnlessWaitedFor();
    const LockOrder::WaitScope wait(ThreadName);
    WaitForSingleObject(handle.Get(), INFINITE);
}

// A worker that lets the last watch go after an error may be what a handler waits for, which has been told of the error
// and ends everything: the thread then ends by itself as well.
void CDelayedNotificationThread::Thread::WaitUnlessWaitedFor() const
{
    constexpr DWORD pause = 50; // milliseconds, while a handler waits for another worker
    const HANDLE either[] = {handle.Get(), waits};
    while (WaitForMultipleObjects(2, either, FALSE, INFINITE) != WAIT_OBJECT_0)
        if (waitsFor == GetCurrentThreadId() || WaitForSingleObject(handle.Get(), pause) == WAIT_OBJECT_0)
            return;
}

CDelayedNotificationThread::WorkerScope::WorkerScope() { t_isWorker = true; }
CDelayedNotificationThread::WorkerScope::~WorkerScope() { t_isWorker = false; }

CDelayedNotificationThread::WorkerWait::WorkerWait(DWORD worker) : m_before(Exchange(worker)) {}
CDelayedNotificationThread::WorkerWait::~WorkerWait() { Exchange(m_before); }

DWORD CDelayedNotificationThread::WorkerWait::Exchange(DWORD worker)
{
    if (!Thread::t_own)
        return 0;
    const DWORD before = Thread::t_own->waitsFor.exchange(worker);
    if (worker != 0)
        Thread::t_own->waits.SetEvent();
    else
        Thread::t_own->waits.ResetEvent();
    return before;
}

bool CDelayedNotificationThread::PostEvent(DelayedEvent* event)
{
    // The notifier itself cannot wait for room: it is what makes it.
    while (m_thread->queue.Count() >= g_mostQueued && !IsNotifierThread())
        if (m_thread->HasEndedAfter(RefusedPostPause)) {
            FreeDelayedEvent(event);
            return false;
        }
    const std::optional<EventQueue::WakeTicket> ticket = m_thread->queue.Add(event);
    return !ticket || m_thread->Wake(*ticket);
}

// The system holds a limited number of messages for a thread: one that is refused is tried again. There is no need for
// it on the thread itself, which goes on with what is queued.
bool CDelayedNotificationThread::Thread::Wake(EventQueue::WakeTicket ticket)
{
    while (!g_post.load()(id, WM_DELAYED_EVENT, 0, 0)) {
        if (GetCurrentThreadId() == id)
            return true;
        if (HasEndedAfter(RefusedPostPause))
            return false;
    }
    queue.WakePosted(ticket);
    return true;
}

bool CDelayedNotificationThread::Thread::HasEndedAfter(DWORD milliseconds) const
{
    return WaitForSingleObject(handle.Get(), milliseconds) == WAIT_OBJECT_0;
}

bool CDelayedNotificationThread::IsNotifierThread() const { return GetCurrentThreadId() == m_thread->id; }
bool CDelayedNotificationThread::HasEnded() const { return IsSignalled(m_thread->handle.Get()); }

DWORD CDelayedNotificationThread::CurrentThreadId()
{
    const CSingleLock lock(SharedSection());
    return Current() ? std::static_pointer_cast<Thread>(Current())->id : 0;
}

bool CDelayedNotificationThread::RunsHandlers() { return Thread::t_own != nullptr; }

void CDelayedNotificationThread::DispatchQueued()
{
    if (Thread::t_own)
        Thread::t_own->Dispatch();
}

void CDelayedNotificationThread::Receive(const MSG& message)
{
    if (!Thread::t_own || message.hwnd || message.message != WM_DELAYED_EVENT)
        return;
    Thread::t_own->Dispatch();
    ReceiveDelayedEvent(message.lParam);
}

void CDelayedNotificationThread::SetPostFunction(PostFunction post) { g_post = post ? post : &PostThreadMessageW; }

void CDelayedNotificationThread::SetMostQueued(std::size_t most) { g_mostQueued = most; }

std::size_t CDelayedNotificationThread::Queued()
{
    const CSingleLock lock(SharedSection());
    return Current() ? std::static_pointer_cast<Thread>(Current())->queue.Count() : 0;
}
