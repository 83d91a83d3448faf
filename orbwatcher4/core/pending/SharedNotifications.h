// Shares one notification among all paths with equal ones. Nearly all of a million pending files were selected by the
// same rules. Has no lock of its own.
#pragma once

#include "orbwatcher4/core/pending/Notification.h"

#include <array>

class SharedNotifications
{
public:
    // Returns the kept notification that equals this one, or this one itself. Deletions are not shared: each has its
    // time.
    NotificationPtr InPlaceOf(NotificationPtr notification);
    void Clear() { m_kept = {}; }

private:
    std::array<NotificationPtr, 32> m_kept; // more than most selections need
    std::size_t m_next = 0;                 // the place that the next new one replaces
};
