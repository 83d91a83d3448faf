#include "directory_changes/DelayedNotifier.h"

#include "directory_changes/DelayedNotificationThread.h"
#include "directory_changes/DelayedNotificationWindow.h"

bool IsInsideEvent() noexcept
{
    return CDelayedNotificationThread::RunsHandlers() || CDelayedNotificationWindow::RunsHandlers();
}
