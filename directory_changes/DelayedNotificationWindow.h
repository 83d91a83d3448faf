// The hidden window that stands in for the notifier thread in programs with a
// user interface: handlers run on the thread that made the window, which must
// dispatch its messages. Any thread may post.
#pragma once

#include "directory_changes/DelayedNotifier.h"

class CDelayedNotificationWindow : public CDelayedNotifier
{
public:
    // Throws std::system_error when the window cannot be made.
    CDelayedNotificationWindow();
    ~CDelayedNotificationWindow() override;

    bool PostEvent(DelayedEvent* event) override;
    bool IsNotifierThread() const override;
    bool HasEnded() const override;

    // The shared window; null when there is none.
    static HWND Window();

private:
    HWND m_window; // the shared one, as it was at construction
};
