/// @file
/// A critical section that has a place in the lock order.
#pragma once

#include "mfc/CCriticalSection.h"
#include "support/LockOrder.h"

/// The spin count of a section that is held for a short time, and entered for every change.
constexpr DWORD ShortWaitSpins = 500;

/// Enter it with CSingleLock. Any thread.
class ORB_LOCK RankedSection : public CCriticalSection
{
public:
    /// `name` names the kind of lock; it must live as long as the process.
    RankedSection(LockRank rank, const wchar_t* name, DWORD spinCount = 0)
        : CCriticalSection(spinCount),
          m_rank(rank),
          m_name(name)
    {
    }

    /// Reports to the check, and waits until no other thread is inside.
    void Lock() override ORB_ACQUIRES() ORB_UNCHECKED_LOCKS
    {
        LockOrder::Entering(this, m_rank, m_name, __builtin_return_address(0));
        CCriticalSection::Lock();
    }
    /// Leaves the section, and reports to the check.
    void Unlock() override ORB_RELEASES() ORB_UNCHECKED_LOCKS
    {
        CCriticalSection::Unlock();
        LockOrder::Left(this);
    }
    /// For a function that is called with the section entered: tells both checks, of the order and of clang.
    void RequireHeld() const ORB_HOLDS() { LockOrder::RequireHeld(this, m_name, __builtin_return_address(0)); }

private:
    const LockRank m_rank;
    const wchar_t* const m_name;
};
