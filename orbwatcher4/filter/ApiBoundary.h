// The edge of the exported classes: no exception leaves an operation.
//
// Only the outermost operation on a thread catches. Inside the library an
// exception goes on to the operation that the caller asked for, which knows what
// is undone or becomes due: a check inside a watcher must not answer as if all
// were well. Any thread.
#pragma once

#include <exception>
#include <new>

// The thread is inside an exported operation as long as the object lives.
class BoundaryScope
{
public:
    BoundaryScope() noexcept;
    ~BoundaryScope();
    BoundaryScope(const BoundaryScope&) = delete;
    BoundaryScope& operator=(const BoundaryScope&) = delete;

    bool IsOutermost() const noexcept { return m_depth == 0; }

private:
    const unsigned long long m_depth;
};

// Into the log, when there is memory for that.
void LogCutShort(const wchar_t* operation, const wchar_t* why) noexcept;

// Runs the body of an exported operation. An exception (want of memory above all, and whatever a callback of the caller
// throws) is logged, and the operation returns `onFailure`.
template <typename Result, typename Operation>
Result AtBoundary(const wchar_t* name, Result onFailure, Operation&& operation)
{
    const BoundaryScope scope;
    if (!scope.IsOutermost())
        return operation();
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        LogCutShort(name, L"out of memory");
    } catch (...) {
        LogCutShort(name, L"an unexpected error");
    }
    return onFailure;
}

template <typename Operation>
void AtBoundary(const wchar_t* name, Operation&& operation)
{
    AtBoundary(name, false, [&operation] {
        operation();
        return true;
    });
}
