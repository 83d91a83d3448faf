#include "companions/readerswriters/ReadersWriters.h"

#include "support/LockOrder.h"

#include <windows.h>

// The state of the lock is these bits alone: no address, no registration. So a free object may be copied as raw bytes,
// and needs no destructor.
static_assert(sizeof(SRWLOCK) == sizeof(void*) && alignof(SRWLOCK) == alignof(void*));

namespace
{

constexpr const wchar_t* lockName = L"readers and writers";

SRWLOCK* LockIn(void*& state) { return reinterpret_cast<SRWLOCK*>(&state); }

} // namespace

void ReadersWriters::StartRead()
{
    LockOrder::Entering(this, LockRank::Leaf, lockName, __builtin_return_address(0));
    AcquireSRWLockShared(LockIn(m_state));
}

void ReadersWriters::EndRead()
{
    ReleaseSRWLockShared(LockIn(m_state));
    LockOrder::Left(this);
}

void ReadersWriters::StartWrite()
{
    LockOrder::Entering(this, LockRank::Leaf, lockName, __builtin_return_address(0));
    AcquireSRWLockExclusive(LockIn(m_state));
}

void ReadersWriters::EndWrite()
{
    ReleaseSRWLockExclusive(LockIn(m_state));
    LockOrder::Left(this);
}
