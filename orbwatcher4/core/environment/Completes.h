// The border of the watcher: no exception leaves an operation, or ends the process from a thread of the watcher.
#pragma once

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/filter/ApiBoundary.h"

#include <new>

// Runs the operation. Returns false when an exception ended it, usually because memory was exhausted; the log says so.
template <typename Operation>
bool Completes(const wchar_t* name, Operation&& operation) noexcept
{
    const BoundaryScope inside; // what the filters throw comes here
    const wchar_t* why = L"an unexpected error";
    try {
        operation();
        return true;
    } catch (const std::bad_alloc&) {
        why = L"out of memory";
    } catch (...) {
    }
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"%s was cut short: %s", name, why);
    return false;
}
