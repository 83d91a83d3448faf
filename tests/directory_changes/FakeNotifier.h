// A notifier whose thread is the test: it keeps what is posted until the test dispatches it.
#pragma once

#include "directory_changes/DelayedNotifier.h"

#include <deque>

class FakeNotifier : public CDelayedNotifier
{
public:
    bool hasEnded = false;
    int left = 0, closed = 0;
    std::deque<DelayedEvent*> events;

    FakeNotifier() = default;
    FakeNotifier(const FakeNotifier&) = delete;
    FakeNotifier& operator=(const FakeNotifier&) = delete;
    ~FakeNotifier() override
    {
        for (DelayedEvent* const event : events)
            FreeDelayedEvent(event);
    }
    bool PostEvent(DelayedEvent* event) override
    {
        if (!hasEnded)
            events.push_back(event);
        else
            FreeDelayedEvent(event);
        return !hasEnded;
    }
    bool IsNotifierThread() const override { return true; }
    bool HasEnded() const override { return hasEnded; }
    void Leave() noexcept override { ++left; }
    void WaitForEnd() noexcept override {}
    void Close() noexcept override { ++closed; }
};
