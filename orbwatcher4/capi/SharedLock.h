// A lock that many may share, or one may have alone; for std::shared_lock and
// std::scoped_lock. Any thread. The runtime's own shared_mutex and mutex take memory
// and handles when they are first used, and never give them back.
#pragma once

#include <windows.h>

class SharedLock
{
public:
    SharedLock() = default;
    SharedLock(const SharedLock&) = delete;
    SharedLock& operator=(const SharedLock&) = delete;

    // Not again by the thread that has it.
    void lock() { AcquireSRWLockExclusive(&m_lock); }
    void unlock() { ReleaseSRWLockExclusive(&m_lock); }
    void lock_shared() { AcquireSRWLockShared(&m_lock); }
    void unlock_shared() { ReleaseSRWLockShared(&m_lock); }

private:
    SRWLOCK m_lock = SRWLOCK_INIT;
};
