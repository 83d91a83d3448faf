#include "directory_changes/DelayedNotificationThread.h"

#include "directory_changes/EventQueue.h"
#include "directory_changes/LastError.h"
#include "directory_changes/NeverDestroyed.h"
#include "directory_changes/ThreadSlot.h"
#include "mfc/CEvent.h"
#include "support/Handle.h"
#include "support/RankedSection.h"

#include <process.h>

#include <system_error>

// One thread and its users. The users, and the thread itself, keep it alive.
struct CDelayedNotificationThread::Thread {
    KernelHandle handle;
    DWORD id = 0;
    std::atomic<int> users{0}; // changed inside the shared section
    CEvent used{true, true};   // set while there are users
    EventQueue queue;

    struct Beginning {
        std::shared_ptr<Thread> thread;
        CEvent started{};
    };
    static unsigned __stdcall Run(void* beginning);
    void Serve();
    void Dispatch();
    bool EndIfUnused();
    void EndWithUsers();
    bool HasEndedAfter(DWORD milliseconds) const;
    bool Wake(EventQueue::WakeTicket ticket);
};

namespace
{

// The state that all users of the process share.
struct Shared {
    RankedSection section{LockRank::Leaf, L"notifier"};
    std::shared_ptr<void> current ORB_GUARDED_BY(section); // a Thread
    std::shared_ptr<void> ended ORB_GUARDED_BY(section);   // the Thread that has given up its place last
    ThreadSlot<void> own;                                  // on a notifier thread: its Thread
};

Shared& TheShared()
{
    static NeverDestroyed<Shared> shared;
    return shared.Get();
}

std::atomic<CDelayedNotificationThread::PostFunction> g_post{&PostThreadMessageW};
std::atomic<std::size_t> g_mostQueued{CDelayedNotificationThread::MostQueued};
constexpr const wchar_t* ThreadName = L"notifier thread";
constexpr DWORD RefusedPostPause = 10; // milliseconds

} // namespace

unsigned __stdcall CDelayedNotificationThread::Thread::Run(void* beginning)
{
    auto& [thread, started] = *static_cast<Beginning*>(beginning);
    const std::shared_ptr<Thread> own = thread;
    TheShared().own.Set(own.get());
    const LockOrder::ThreadScope scope(ThreadName);
    // All handler code runs here: a medium that is taken out must not stop it behind a box.
    SetThreadErrorMode(SEM_FAILCRITICALERRORS, nullptr);
    // The first look at the messages makes the queue for them; only then may any thread post.
    MSG message;
    PeekMessageW(&message, nullptr, WM_USER, WM_USER, PM_NOREMOVE);
    started.SetEvent();
    own->Serve();
    return 0;
}

void CDelayedNotificationThread::Thread::Serve()
{
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        Receive(message);
        if (EndIfUnused())
            return;
    }
    EndWithUsers();
}

// A handler that waits dispatches events: then this runs within itself, and goes on behind what the inner one has
// dispatched.
void CDelayedNotificationThread::Thread::Dispatch()
{
    queue.BeginDrain();
    while (DelayedEvent* event = queue.Take())
        DispatchDelayedEvent(event);
}

// Only the thread itself gives up its place for the next user, and only between two events.
bool CDelayedNotificationThread::Thread::EndIfUnused()
{
    if (users > 0)
        return false;
    Shared& shared = TheShared();
    const CSingleLock lock(shared.section);
    if (users > 0)
        return false;
    if (shared.current.get() == this)
        shared.ended = std::move(shared.current);
    queue.Close();
    return true;
}

void CDelayedNotificationThread::Thread::EndWithUsers()
{
    {
        Shared& shared = TheShared();
        const CSingleLock lock(shared.section);
        if (shared.current.get() == this)
            shared.current.reset();
    }
    do
        Dispatch();
    while (!queue.CloseIfEmpty());
}

CDelayedNotificationThread::CDelayedNotificationThread()
{
    Shared& shared = TheShared();
    const CSingleLock lock(shared.section);
    m_thread = std::static_pointer_cast<Thread>(shared.current);
    if (!m_thread || IsSignalled(m_thread->handle.Get())) {
        m_thread = std::make_shared<Thread>();
        Thread::Beginning beginning{m_thread};
        unsigned id = 0;
        m_thread->handle.Reset(reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, &Thread::Run, &beginning, 0, &id)));
        if (!m_thread->handle)
            throw std::system_error(static_cast<int>(LastErrorOr(ERROR_MAX_THRDS_REACHED)), std::system_category(),
                                    "notifier thread");
        m_thread->id = id;
        // The new thread takes no lock before it answers. It answers or ends.
        const HANDLE either[] = {beginning.started, m_thread->handle.Get()};
        WaitForMultipleObjects(2, either, FALSE, INFINITE);
        shared.current = m_thread;
    }
    if (++m_thread->users == 1)
        m_thread->used.SetEvent();
}

CDelayedNotificationThread::~CDelayedNotificationThread()
{
    if (LeaveAsLast() && !IsInsideEvent())
        CDelayedNotificationThread::WaitForEnd();
}

void CDelayedNotificationThread::Leave() noexcept { LeaveAsLast(); }

bool CDelayedNotificationThread::LeaveAsLast() noexcept
{
    if (m_left.exchange(true))
        return false;
    {
        const CSingleLock lock(TheShared().section);
        if (--m_thread->users > 0)
            return false;
        m_thread->used.ResetEvent();
    }
    // The thread looks for users after each message. It needs none when it is the caller.
    if (!IsNotifierThread())
        while (!PostThreadMessageW(m_thread->id, WM_DELAYED_EVENT, 0, 0) &&
               !m_thread->HasEndedAfter(RefusedPostPause)) {
        }
    return true;
}

// Handlers have returned, as their watches have ended: the thread is on its way out.
void CDelayedNotificationThread::WaitForEnd() noexcept
{
    if (m_thread->users > 0)
        return;
    const LockOrder::WaitScope wait(ThreadName);
    const HANDLE either[] = {m_thread->handle.Get(), m_thread->used};
    WaitForMultipleObjects(2, either, FALSE, INFINITE);
}

void CDelayedNotificationThread::WaitForUnused() noexcept
{
    std::shared_ptr<Thread> current, ended;
    {
        Shared& shared = TheShared();
        const CSingleLock lock(shared.section);
        current = std::static_pointer_cast<Thread>(shared.current);
        ended = std::static_pointer_cast<Thread>(shared.ended);
    }
    const LockOrder::WaitScope wait(ThreadName);
    if (current && current->users == 0) {
        const HANDLE either[] = {current->handle.Get(), current->used};
        WaitForMultipleObjects(2, either, FALSE, INFINITE);
    }
    if (ended)
        WaitForSingleObject(ended->handle.Get(), INFINITE);
}

void CDelayedNotificationThread::Close() noexcept { m_thread->queue.Close(); }

bool CDelayedNotificationThread::PostEvent(DelayedEvent* event)
{
    // The notifier thread makes room itself, so it cannot wait for room.
    while (m_thread->queue.Count() >= g_mostQueued && !IsNotifierThread())
        if (m_thread->HasEndedAfter(RefusedPostPause)) {
            FreeDelayedEvent(event);
            return false;
        }
    const EventQueue::Added added = m_thread->queue.Add(event);
    if (!added.taken)
        FreeDelayedEvent(event);
    return added.taken && (!added.wake || m_thread->Wake(*added.wake));
}

// The system holds a limited number of messages for a thread: a refused one is posted again. The notifier thread itself
// needs no wake-up, as it empties the queue after the event that it runs.
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
    Shared& shared = TheShared();
    const CSingleLock lock(shared.section);
    return shared.current ? std::static_pointer_cast<Thread>(shared.current)->id : 0;
}

CDelayedNotificationThread::Thread* CDelayedNotificationThread::Own() noexcept
{
    return static_cast<Thread*>(TheShared().own.Get());
}

bool CDelayedNotificationThread::RunsHandlers() noexcept { return Own() != nullptr; }

void CDelayedNotificationThread::DispatchQueued()
{
    if (Thread* const own = Own())
        own->Dispatch();
}

void CDelayedNotificationThread::Receive(const MSG& message)
{
    Thread* const own = Own();
    if (!own || message.hwnd || message.message != WM_DELAYED_EVENT)
        return;
    own->Dispatch();
    ReceiveDelayedEvent(message.lParam);
}

void CDelayedNotificationThread::SetPostFunction(PostFunction post) { g_post = post ? post : &PostThreadMessageW; }

void CDelayedNotificationThread::SetMostQueued(std::size_t most) { g_mostQueued = most; }

std::size_t CDelayedNotificationThread::Queued()
{
    Shared& shared = TheShared();
    const CSingleLock lock(shared.section);
    return shared.current ? std::static_pointer_cast<Thread>(shared.current)->queue.Count() : 0;
}
