#include "orbwatcher4/core/overlay/OverlayStatuses.h"

void OverlayStatuses::Set(const CString& path, std::int32_t status)
{
    if (AreWanted())
        m_connection.Request(OverlayRequest::SetStatus, path, status);
}

void OverlayStatuses::MarkModified(const CString& path)
{
    if (!AreWanted())
        return;
    std::int32_t status = OverlayStatus::ReadStart;
    m_connection.Request(OverlayRequest::GetStatus, path, status);
    if (status & OverlayStatus::FirstBit)
        status |= OverlayStatus::SecondBit;
    Set(path, status | OverlayStatus::FirstBit);
}
