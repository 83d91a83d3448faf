// The hidden window that stands in for the notifier thread in programs with a user interface. Handlers run on the
// thread that made the window, which must dispatch its messages. Any thread may post.
#pragma once

#include "directory_changes/DelayedNotifier.h"

#include <atomic>

class CDelayedNotificationWindow : public CDelayedNotifier
{
public:
    // Throws std::system_error when the window cannot be made.
    CDelayedNotificationWindow();
    // Leaves.
    ~CDelayedNotificationWindow() override;

    // A refused post is tried again. On the window's own thread, which would wait for itself, what the messages carry
    // is dispatched first.
    bool PostEvent(DelayedEvent* event) override;
    bool IsNotifierThread() const override;
    bool HasEnded() const override;
    void Leave() noexcept override;
    // The window goes without being waited for.
    void WaitForEnd() noexcept override {}
    // The system drops the messages of a window that is gone.
    void Close() noexcept override {}

    // Returns the shared window; null when there is none.
    static HWND Window();
    // Returns true while the calling thread runs an event of the window.
    static bool RunsHandlers() noexcept;

private:
    bool DispatchOneMessage() const;

    const HWND m_window; // the shared one, as it was at construction
    std::atomic<bool> m_left{false};
};
