/// @file
/// A lock for the few instructions around one table entry or one sum.
///
/// A thread that finds it held tries again at once: no thread waits while it holds it. Nothing else may be locked
/// inside. Any thread.
#pragma once

#include "support/LockOrder.h"

#include <atomic>
#include <cstdint>

/// One such lock, free at first.
class SpinFlag
{
public:
    /// `name` names the kind of lock; it must live as long as the process.
    explicit SpinFlag(const wchar_t* name) noexcept : m_name(name) {}
    SpinFlag(const SpinFlag&) = delete;
    SpinFlag& operator=(const SpinFlag&) = delete;

    /// Waits until the flag is free, and holds it. The thread must not hold it already.
    void Acquire() noexcept
    {
        LockOrder::Entering(this, LockRank::Leaf, m_name, __builtin_return_address(0));
        for (std::int32_t expected = 0; !m_held.compare_exchange_strong(expected, 1); expected = 0) {
        }
    }
    /// Releases the flag. Call it on the thread that holds it.
    void Release() noexcept
    {
        m_held.exchange(0);
        LockOrder::Left(this);
    }

private:
    std::atomic<std::int32_t> m_held{0};
    const wchar_t* const m_name;
};

/// Holds a flag in its scope.
class SpinScope
{
public:
    /// The flag must outlive it.
    explicit SpinScope(SpinFlag& flag) noexcept : m_flag(flag) { m_flag.Acquire(); }
    /// Releases the flag.
    ~SpinScope() { m_flag.Release(); }
    SpinScope(const SpinScope&) = delete;
    SpinScope& operator=(const SpinScope&) = delete;

private:
    SpinFlag& m_flag;
};
