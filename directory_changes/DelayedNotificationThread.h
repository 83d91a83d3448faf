// The notifier thread that all watches of the process share. Any thread may post.
//
// It starts with the first user. When the last user has left, it ends after the event that it runs; a user that comes
// before that keeps it, so that a handler that begins its only watch again from inside an event stays on one thread.
// A WM_QUIT that something else posts to the thread ends it after everything that is queued was dispatched; later posts
// fail, and the next user gets another thread.
//
// A handler may run a message loop of its own. Events wait meanwhile.
#pragma once

#include "directory_changes/DelayedNotifier.h"

#include <atomic>
#include <cstddef>
#include <memory>

class CDelayedNotificationThread : public CDelayedNotifier
{
public:
    // Throws std::system_error when the thread cannot be started, and std::bad_alloc.
    CDelayedNotificationThread();
    // Leaves. A last user that had not left before waits for the thread, except inside an event.
    ~CDelayedNotificationThread() override;

    // Waits while the queue is full, except on the notifier thread.
    bool PostEvent(DelayedEvent* event) override;
    bool IsNotifierThread() const override;
    bool HasEnded() const override;
    void Leave() noexcept override;
    void WaitForEnd() noexcept override;
    void Close() noexcept override;

    // Waits for the end of a thread that no user has left any more, whoever left last: the last user may have left from
    // inside an event, where nothing can wait. Does nothing when there is no such thread. Not for notifier threads.
    static void WaitForUnused() noexcept;

    // Returns the id of the thread that the next user would share; 0 when there is none.
    static DWORD CurrentThreadId();
    // Returns true on every notifier thread, also on one that ends.
    static bool RunsHandlers() noexcept;
    // On a notifier thread: dispatches what is queued for it. Does nothing on other threads.
    static void DispatchQueued();
    // On a notifier thread: the same, and then dispatches the event that the message carries, or frees one that names
    // no handler. Does nothing on other threads, and for other messages.
    static void Receive(const MSG& message);

    // Stands in for PostThreadMessageW, whose queue the system limits; null restores it. For tests.
    using PostFunction = BOOL(WINAPI*)(DWORD, UINT, WPARAM, LPARAM);
    static void SetPostFunction(PostFunction post);

    // The largest number of events that wait for the thread. A thread that posts more waits for room, and the system
    // collects changes meanwhile. 100,000 events of usual length take about 25 MB.
    static constexpr std::size_t MostQueued = 100'000;
    static void SetMostQueued(std::size_t most); // for tests
    // Returns how many events wait for the thread that the next user would share.
    static std::size_t Queued();

private:
    struct Thread;
    static Thread* Own() noexcept; // null on other threads
    bool LeaveAsLast() noexcept;

    std::shared_ptr<Thread> m_thread;
    std::atomic<bool> m_left{false};
};
