/// @file
/// Critical sections that create and delete themselves.
///
/// The thread that is in a section may enter it again.
#pragma once

#include <windows.h>

/// A critical section of the system.
class CCriticalSection
{
public:
    /// `spinCount`: spin count before blocking.
    explicit CCriticalSection(DWORD spinCount = 0) { InitializeCriticalSectionAndSpinCount(&m_section, spinCount); }
    /// No thread may be inside.
    virtual ~CCriticalSection() { DeleteCriticalSection(&m_section); }
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;

    /// Waits until no other thread is inside.
    virtual void Lock() { EnterCriticalSection(&m_section); }
    /// Leaves the section. Call it on the thread that is inside, once for each Lock.
    virtual void Unlock() { LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

/// Holds a section for as long as the object lives; the thread may leave and enter it again meanwhile.
class CSingleLock
{
public:
    /// Enters the section, which must outlive the object.
    explicit CSingleLock(CCriticalSection& section) : m_section(section) { Lock(); }
    /// Leaves the section, if it is inside.
    ~CSingleLock() { Unlock(); }
    CSingleLock(const CSingleLock&) = delete;
    CSingleLock& operator=(const CSingleLock&) = delete;

    /// Enters the section; does nothing when it is inside.
    void Lock()
    {
        if (!m_inside)
            m_section.Lock();
        m_inside = true;
    }
    /// Leaves the section; does nothing when it is outside.
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
