// The shared notifier thread. It starts with the first instance and ends with
// the last one. Any thread may post.
#pragma once

#include "directory_changes/DelayedNotifier.h"
#include "support/Handle.h"

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

    // Stands in for PostThreadMessageW, whose queue the system limits; null puts the real one back.
    using PostFunction = BOOL(WINAPI*)(DWORD, UINT, WPARAM, LPARAM);
    static void SetPostFunction(PostFunction post);

private:
    struct Thread;
    std::shared_ptr<Thread> m_thread;
};
