#include "orbwatcher4/filter/AbortPoll.h"

bool AbortPoll::IsSet()
{
    if (!m_event || m_set)
        return m_set;
    const ULONGLONG now = GetTickCount64();
    if (m_asked == AlwaysAsked && now == m_askedAt)
        return false;
    if (m_asked < AlwaysAsked)
        ++m_asked;
    m_askedAt = now;
    return m_set = WaitForSingleObject(m_event, 0) != WAIT_TIMEOUT;
}
