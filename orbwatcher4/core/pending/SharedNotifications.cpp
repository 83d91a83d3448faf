#include "orbwatcher4/core/pending/SharedNotifications.h"

#include <algorithm>
#include <tuple>

namespace
{

bool SaysTheSame(const Notification& left, const Notification& right)
{
    return std::tie(left.kind, left.ruleFlags, left.ruleValue, left.firstText, left.secondText) ==
           std::tie(right.kind, right.ruleFlags, right.ruleValue, right.firstText, right.secondText);
}

} // namespace

NotificationPtr SharedNotifications::InPlaceOf(NotificationPtr notification)
{
    if (!notification || notification->kind == NotificationKind::Deleted || notification->timeStamp != 0)
        return notification;
    const auto found = std::find_if(m_kept.begin(), m_kept.end(), [&](const NotificationPtr& kept) {
        return kept && (kept == notification || SaysTheSame(*kept, *notification));
    });
    if (found != m_kept.end())
        return *found;
    m_kept[m_next] = notification;
    m_next = (m_next + 1) % m_kept.size();
    return notification;
}
