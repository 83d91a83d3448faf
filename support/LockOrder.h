/// @file
/// The one order in which locks are taken, and the check that it is kept.
///
/// Built with ORB_LOCK_ORDER, every RankedSection tells this check when it is
/// entered and left; a wait for a thread counts like a lock that the waited-for
/// thread holds all its life. The check reports the first time that
///  - a lock of a lower rank is asked for while one of a higher rank is held, or
///  - two locks (or more, or threads) are found to wait for each other in a circle,
/// even if nothing ever stopped: one thread doing it both ways is enough. Without
/// ORB_LOCK_ORDER all of it is empty.
///
/// All modules of a process share one check. Any thread.
#pragma once

#include <string>
#include <vector>

/// Outermost first. Locks of the same rank are told apart by the circle test.
enum class LockRank : int {
    Lifecycle = 0,
    HandOut = 1,
    DeletedFiles = 2,
    DeleteMap = 3,
    DriveList = 4,
    PrimaryFilter = 5,
    SecondaryFilter = 6,
    Store = 7,
    FirstTime = 8,
    PendingDrives = 9,
    IndexCache = 10,
    Database = 11,
    EngineArray = 12,
    EngineRecord = 13,
    HandlerLink = 14,
    Leaf = 15,
    Log = 16,
    Unranked = 99, ///< judged by the circle test alone
};

namespace LockOrder
{

#ifdef ORB_LOCK_ORDER
/// Tells that the calling thread is about to enter the lock. `name` names the kind of lock; it must live as long as the
/// process.
void Entering(const void* lock, LockRank rank, const wchar_t* name, const void* site) noexcept;
/// Tells that the lock is not held any more.
void Left(const void* lock) noexcept;
/// What was found since the last Clear, one text each.
std::vector<std::wstring> Reports();
/// Forgets what was found.
void Clear();
/// True inside the check itself, which has no way to go on without memory: who refuses memory leaves it alone.
bool IsAtWork();
#else
inline void Entering(const void*, LockRank, const wchar_t*, const void*) noexcept {}
inline void Left(const void*) noexcept {}
inline std::vector<std::wstring> Reports() { return {}; }
inline void Clear() {}
inline bool IsAtWork() { return false; }
#endif

/// Says that the calling thread waits for the thread that is known by this name.
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

/// Says that the calling thread is the one that others wait for by this name.
using ThreadScope = WaitScope;

} // namespace LockOrder
