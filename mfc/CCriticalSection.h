/// @file
/// Critical sections that create and delete themselves.
///
/// A section may be entered again by the thread that is in it.
#pragma once

#include <windows.h>

/// A critical section of the system.
class CCriticalSection
{
public:
    /// How often who finds it taken looks again before he sleeps.
    explicit CCriticalSection(DWORD spinCount = 0) { InitializeCriticalSectionAndSpinCount(&m_section, spinCount); }
    /// Nobody may be inside.
    virtual ~CCriticalSection() { DeleteCriticalSection(&m_section); }
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;

    /// Waits until nobody else is inside.
    virtual void Lock() { EnterCriticalSection(&m_section); }
    /// On the thread that is inside, once for each Lock.
    virtual void Unlock() { LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

/// Enters a section for as long as it lives; may be left and entered again.
class CSingleLock
{
public:
    /// The section must outlive it.
    explicit CSingleLock(CCriticalSection& section) : m_section(section) { Lock(); }
    /// Leaves the section, if it is inside.
    ~CSingleLock() { Unlock(); }
    CSingleLock(const CSingleLock&) = delete;
    CSingleLock& operator=(const CSingleLock&) = delete;

    /// Nothing happens when it is inside.
    void Lock()
    {
        if (!m_inside)
            m_section.Lock();
        m_inside = true;
    }
    /// Nothing happens when it is outside.
    void Unlock()
    {
        if (m_inside)
            m_section.Unlock();
        m_inside = false;
    }

private:
    CCriticalSection& m_section;
    bool m_inside = false;
};
