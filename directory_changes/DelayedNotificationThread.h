// The shared notifier thread. It starts with the first instance and ends with
// the last one. Any thread may post.
#pragma once

#include "directory_changes/DelayedNotifier.h"
#include "support/Handle.h"

#include <cstddef>
#include <memory>

class CDelayedNotificationThread : public CDelayedNotifier
{
public:
    // Throws std::system_error when the thread cannot be started.
    CDelayedNotificationThread();
    ~CDelayedNotificationThread() override;

    bool PostEvent(DelayedEvent* event) override;
    bool IsNotifierThread() const override;
    bool HasEnded() const override;

    // The id of the shared thread; 0 when there is none.
    static DWORD CurrentThreadId();
    // True on every notifier's thread, also on one that ends.
    static bool RunsHandlers();
    // On a notifier thread: dispatches what is queued for it. Does nothing on other threads.
    static void DispatchQueued();
    // On a notifier thread: the same, and then dispatches the event that the message carries, or frees one that names
    // no handler. Does nothing on other threads, and for other messages.
    static void Receive(const MSG& message);

    // Stands in for PostThreadMessageW, whose queue the system limits; null puts the real one back.
    using PostFunction = BOOL(WINAPI*)(DWORD, UINT, WPARAM, LPARAM);
    static void SetPostFunction(PostFunction post);

    // How many events may wait for the thread: who posts more waits for room, and the system gathers what happens
    // meanwhile. The usual ones take about 25 MB.
    static constexpr std::size_t MostQueued = 100'000;
    static void SetMostQueued(std::size_t most);
    // How many wait for the shared thread.
    static std::size_t Queued();

    // The calling thread is a worker. It must not wait for the notifier's end while a handler waits for its own.
    class WorkerScope
    {
    public:
        WorkerScope();
        ~WorkerScope();
        WorkerScope(const WorkerScope&) = delete;
        WorkerScope& operator=(const WorkerScope&) = delete;
    };
    // The calling thread waits for the end of this worker. Means something on the notifier's thread only.
    class WorkerWait
    {
    public:
        explicit WorkerWait(DWORD worker);
        ~WorkerWait();
        WorkerWait(const WorkerWait&) = delete;
        WorkerWait& operator=(const WorkerWait&) = delete;

    private:
        static DWORD Exchange(DWORD worker);
        const DWORD m_before;
    };

private:
    struct Thread;
    std::shared_ptr<Thread> m_thread;
};
