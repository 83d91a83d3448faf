// Asks of an event now and then whether it is set. One thread uses an object.
//
// Each question is a call of the system, which may cost more than an entry of a folder does. So only the first
// questions all reach the system; after these it is asked whenever the clock has moved on, some sixty times a second.
#pragma once

#include <windows.h>

class AbortPoll
{
public:
    // Null: nobody aborts. A handle that is none aborts.
    explicit AbortPoll(HANDLE event) : m_event(event) {}

    bool IsSet();

private:
    static constexpr int AlwaysAsked = 64;

    const HANDLE m_event;
    bool m_set = false;
    int m_asked = 0; // no longer counted when all further questions depend on the clock
    ULONGLONG m_askedAt = 0;
};
