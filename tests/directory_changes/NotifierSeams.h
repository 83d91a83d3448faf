// Put something in the place of what the notifiers use, and put the usual back at the end.
#pragma once

#include "directory_changes/DelayedNotificationThread.h"

#include <cstddef>

// Replaces the function that wakes the notifier thread.
class PostFunctionScope
{
public:
    explicit PostFunctionScope(CDelayedNotificationThread::PostFunction post)
    {
        CDelayedNotificationThread::SetPostFunction(post);
    }
    ~PostFunctionScope() { CDelayedNotificationThread::SetPostFunction(nullptr); }
    PostFunctionScope(const PostFunctionScope&) = delete;
    PostFunctionScope& operator=(const PostFunctionScope&) = delete;
};

// Replaces the length of the notifier's queue.
class MostQueuedScope
{
public:
    explicit MostQueuedScope(std::size_t most) { CDelayedNotificationThread::SetMostQueued(most); }
    ~MostQueuedScope() { CDelayedNotificationThread::SetMostQueued(CDelayedNotificationThread::MostQueued); }
    MostQueuedScope(const MostQueuedScope&) = delete;
    MostQueuedScope& operator=(const MostQueuedScope&) = delete;
};
