// The border of the exported classes: no exception leaves an operation.
//
// Only the outermost operation on a thread catches. An exception inside the library reaches the operation that the
// caller has called, which knows what must be undone or becomes due. A check inside a watcher must not answer as if all
// were well. Any thread.
#pragma once

#include <exception>
#include <new>

// Marks that the thread is inside an exported operation, in its scope.
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

// Writes the failure to the log if there is memory for that.
void LogCutShort(const wchar_t* operation, const wchar_t* why) noexcept;

// Runs the body of an exported operation. An exception (usually because memory is exhausted, or because a callback of
// the caller throws) is logged, and the operation returns `onFailure`.
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
