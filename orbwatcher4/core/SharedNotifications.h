// One notification for all paths of which the same is to be said: of a million
// pending files nearly all were selected by the same rules. None of it locks.
#pragma once

#include "orbwatcher4/core/Notification.h"

#include <array>

class SharedNotifications
{
public:
    // The one that is kept in place of this one, or this one itself. Deletions stay what they are: each has its time.
    NotificationPtr InPlaceOf(NotificationPtr notification);
    void Clear() { m_kept = {}; }

private:
    std::array<NotificationPtr, 32> m_kept; // as many kinds as one selection is likely to bring
    std::size_t m_next = 0;                 // gives way when another kind comes
};
