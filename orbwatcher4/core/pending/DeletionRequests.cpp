#include "orbwatcher4/core/pending/DeletionRequests.h"

void DeletionRequests::Request()
{
    m_requested = true;
    SetEvent(m_event.Get());
}

bool DeletionRequests::Take()
{
    const bool signalled = IsSignalled(m_event.Get());
    return m_requested.exchange(false) || signalled;
}
