// Tells other processes that an enumeration is running.
#pragma once

#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/environment/SharedEvent.h"

// The event exists as long as the object.
class RunningEvent
{
public:
    explicit RunningEvent(bool hidden)
    {
        if (hidden)
            return;
        g_OrbLog.Log(L"Create first time event successfully");
        m_event =
            CreateSharedEvent(GetMainSettings().GetMainSettingsMutex(L"mutexs::GUID_FIRSTTIME_RUNNING"), true, false);
        SetEvent(m_event.Get());
    }
    ~RunningEvent()
    {
        if (!m_event)
            return;
        g_OrbLog.Log(L"Close first time event handle");
        ResetEvent(m_event.Get());
    }
    RunningEvent(const RunningEvent&) = delete;
    RunningEvent& operator=(const RunningEvent&) = delete;

private:
    KernelHandle m_event;
};
