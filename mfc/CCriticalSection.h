// Critical sections that create and delete themselves.
//
// A section may be entered again by the thread that is in it.
#pragma once

#include <windows.h>

class CCriticalSection
{
public:
    explicit CCriticalSection(DWORD spinCount = 0) { InitializeCriticalSectionAndSpinCount(&m_section, spinCount); }
    virtual ~CCriticalSection() { DeleteCriticalSection(&m_section); }
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;

    virtual void Lock() { EnterCriticalSection(&m_section); }
    virtual void Unlock() { LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

// Enters a section for as long as it lives; may be left and entered again.
class CSingleLock
{
public:
    explicit CSingleLock(CCriticalSection& section) : m_section(section) { Lock(); }
    ~CSingleLock() { Unlock(); }
    CSingleLock(const CSingleLock&) = delete;
    CSingleLock& operator=(const CSingleLock&) = delete;

    void Lock()
    {
        if (!m_inside)
            m_section.Lock();
        m_inside = true;
    }
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
