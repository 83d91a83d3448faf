/// @file
/// Critical sections that create and delete themselves.
///
/// The thread that is in a section may enter it again.
#pragma once

#include "mfc/ThreadSafety.h"

#include <windows.h>

/// A critical section of the system.
class ORB_LOCK CCriticalSection
{
public:
    /// `spinCount`: spin count before blocking.
    explicit CCriticalSection(DWORD spinCount = 0) { InitializeCriticalSectionAndSpinCount(&m_section, spinCount); }
    /// No thread may be inside.
    virtual ~CCriticalSection() { DeleteCriticalSection(&m_section); }
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;

    /// Waits until no other thread is inside.
    virtual void Lock() ORB_ACQUIRES() ORB_UNCHECKED_LOCKS { EnterCriticalSection(&m_section); }
    /// Leaves the section. Call it on the thread that is inside, once for each Lock.
    virtual void Unlock() ORB_RELEASES() ORB_UNCHECKED_LOCKS { LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

/// Holds a section for as long as the object lives; the thread may leave and enter it again meanwhile.
class ORB_SCOPED_LOCK CSingleLock
{
public:
    /// Enters the section, which must outlive the object.
    explicit CSingleLock(CCriticalSection& section) ORB_ACQUIRES(section) : m_section(section) { Lock(); }
    /// Leaves the section, if it is inside.
    ~CSingleLock() ORB_RELEASES() { Unlock(); }
    CSingleLock(const CSingleLock&) = delete;
    CSingleLock& operator=(const CSingleLock&) = delete;

    /// Enters the section; does nothing when it is inside.
    void Lock() ORB_ACQUIRES() ORB_UNCHECKED_LOCKS
    {
        if (!m_inside)
            m_section.Lock();
        m_inside = true;
    }
    /// Leaves the section; does nothing when it is outside.
    void Unlock() ORB_RELEASES() ORB_UNCHECKED_LOCKS
    {
        if (m_inside)
            m_section.Unlock();
        m_inside = false;
    }

private:
    CCriticalSection& m_section;
    bool m_inside = false;
};
