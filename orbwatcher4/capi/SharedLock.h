// A lock that many threads may share, or one may hold alone; for std::shared_lock and std::scoped_lock. Any thread. The
// runtime's own shared_mutex and mutex allocate memory and handles at their first use and never release them.
#pragma once

#include <windows.h>

class SharedLock
{
public:
    SharedLock() = default;
    SharedLock(const SharedLock&) = delete;
    SharedLock& operator=(const SharedLock&) = delete;

    // The thread must not hold it already.
    void lock() { AcquireSRWLockExclusive(&m_lock); }
    void unlock() { ReleaseSRWLockExclusive(&m_lock); }
    void lock_shared() { AcquireSRWLockShared(&m_lock); }
    void unlock_shared() { ReleaseSRWLockShared(&m_lock); }

private:
    SRWLOCK m_lock = SRWLOCK_INIT;
};
