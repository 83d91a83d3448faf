// The turn of one process, and of one thread in it, at something that processes share: a named mutex. The destructor
// gives it back, on the thread that took it. A process that ends with the turn gives it back, too: the next one must be
// able to go on from what it finds.
#pragma once

#include "mfc/CString.h"
#include "support/Handle.h"
#include "support/SharedAccess.h"

class ProcessTurn
{
public:
    // Waits for the turn, at most this long.
    ProcessTurn(const CString& name, DWORD milliseconds)
    {
        SharedAccess everyone;
        m_mutex.Reset(CreateMutexW(everyone.Attributes(), FALSE, name));
        const DWORD result = m_mutex ? WaitForSingleObject(m_mutex.Get(), milliseconds) : WAIT_FAILED;
        m_mine = result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
    }
    ~ProcessTurn()
    {
        if (m_mine)
            ReleaseMutex(m_mutex.Get());
    }
    ProcessTurn(const ProcessTurn&) = delete;
    ProcessTurn& operator=(const ProcessTurn&) = delete;

    // Returns false when the time ran out, or the system refused the mutex.
    explicit operator bool() const { return m_mine; }

private:
    KernelHandle m_mutex;
    bool m_mine = false;
};
