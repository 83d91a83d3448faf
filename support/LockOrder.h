/// @file
/// The one order in which locks are taken, and the check of this order.
///
/// In a build with ORB_LOCK_ORDER, every RankedSection reports to this check when a thread enters and leaves it. A wait
/// for a thread counts like a lock that the waited-for thread holds all its life. The check reports the first time that
///  - a thread asks for a lock of a lower rank while it holds one of a higher rank, or
///  - two locks or threads, or more, could wait for each other in a circle, or
///  - a thread does without a lock what it may do with the lock alone.
/// No thread needs to stop for that: one thread that takes the locks both ways is enough. Without ORB_LOCK_ORDER the
/// check is empty.
///
/// All modules of a process share one check. Any thread.
#pragma once

#include <string>
#include <vector>

/// The ranks, the outermost first. The circle test checks locks of the same rank against each other.
enum class LockRank : int {
    Lifecycle = 0,
    HandOut = 1,
    DeletedFiles = 2,
    DeleteMap = 3,
    SelectionFiles = 4,
    Disk = 5, ///< no lock: a question to the disk, which may take long
    DriveList = 6,
    PrimaryFilter = 7,
    SecondaryFilter = 8,
    Store = 9,
    FirstTime = 10,
    PendingDrives = 11,
    IndexCache = 12,
    Database = 13,
    EngineArray = 14,
    EngineRecord = 15,
    HandlerLink = 16,
    Leaf = 17,
    Log = 18,
    Unranked = 99, ///< only the circle test applies
};

namespace LockOrder
{

#ifdef ORB_LOCK_ORDER
/// Reports that the calling thread is about to enter the lock. `name` names the kind of lock; it must live as long as
/// the process.
void Entering(const void* lock, LockRank rank, const wchar_t* name, const void* site) noexcept;
/// Reports that the lock is not held any more.
void Left(const void* lock) noexcept;
/// The calling thread must hold the lock; otherwise this is a finding.
void RequireHeld(const void* lock, const wchar_t* name, const void* site) noexcept;
/// Returns the findings since the last Clear, one text each.
std::vector<std::wstring> Reports();
/// Forgets the findings.
void Clear();
/// Returns true inside the check itself. The check cannot go on without memory: code that lets allocations fail must
/// not do so there.
bool IsAtWork();
#else
inline void Entering(const void*, LockRank, const wchar_t*, const void*) noexcept {}
inline void Left(const void*) noexcept {}
inline void RequireHeld(const void*, const wchar_t*, const void*) noexcept {}
inline std::vector<std::wstring> Reports() { return {}; }
inline void Clear() {}
inline bool IsAtWork() { return false; }
#endif

/// Reports, while it lives, that the calling thread waits for the thread with this name.
class WaitScope
{
public:
    /// `thread` names the kind of thread; it must live as long as the process.
    explicit WaitScope(const wchar_t* thread) noexcept
    {
        Entering(this, LockRank::Unranked, thread, __builtin_return_address(0));
    }
    ~WaitScope() { Left(this); }
    WaitScope(const WaitScope&) = delete;
    WaitScope& operator=(const WaitScope&) = delete;
};

/// Reports, while it lives, that the calling thread asks the disk. A share that is away may take long to answer, and a
/// thread that holds a lock of a higher rank then keeps others from their work.
class DiskScope
{
public:
    DiskScope() noexcept { Entering(this, LockRank::Disk, L"disk", __builtin_return_address(0)); }
    ~DiskScope() { Left(this); }
    DiskScope(const DiskScope&) = delete;
    DiskScope& operator=(const DiskScope&) = delete;
};

/// Reports, while it lives, that the calling thread is the one that others wait for by this name.
using ThreadScope = WaitScope;

} // namespace LockOrder
