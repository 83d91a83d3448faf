// Checks now and then whether an event is set. One thread uses an object.
//
// Each check is a system call, which may cost more than an entry of a folder. So only the first checks all reach the
// system. Later ones do when the clock has advanced, about sixty times a second.
#pragma once

#include <windows.h>

class AbortPoll
{
public:
    // With null, nothing aborts. An invalid handle aborts.
    explicit AbortPoll(HANDLE event) : m_event(event) {}

    bool IsSet();

private:
    static constexpr int AlwaysAsked = 64;

    const HANDLE m_event;
    bool m_set = false;
    int m_asked = 0; // no longer counted when all further questions depend on the clock
    ULONGLONG m_askedAt = 0;
};
