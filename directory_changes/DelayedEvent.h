// One event on its way from the worker to the notifier.
#pragma once

#include <windows.h>

#include <memory>

class CDelayedDirectoryChangeHandler;

enum EventCode : DWORD {
    EventFence = 0, // reaches no handler: dispatched only after all events that its handler posted before
    EventAdded = 1,
    EventRemoved = 2,
    EventModified = 3,
    EventRenamed = 4,
    EventReadError = 5,
    EventWatchStarted = 6,
    EventWatchStopped = 7,
};

struct DelayedEvent {
    CDelayedDirectoryChangeHandler* handler;
    EventCode code;
    bool reserved;       // owned by its handler, and not freed after its dispatch
    wchar_t* firstPath;  // a copy, freed with the event
    wchar_t* secondPath; // a copy; EventRenamed: the new name
    DWORD error;
    DWORD partialPathOffset;
};
static_assert(sizeof(DelayedEvent) == 40);

// An event with its place in a queue. Every event is one.
struct QueuedEvent : DelayedEvent {
    QueuedEvent* next;
};

// Returns a QueuedEvent with copies of the paths, or null when there is no memory. A null path is copied as an empty
// one.
DelayedEvent* MakeDelayedEvent(CDelayedDirectoryChangeHandler* handler, EventCode code, const wchar_t* firstPath,
                               const wchar_t* secondPath, DWORD error, DWORD partialPathOffset) noexcept;
// Does nothing to a reserved event.
void FreeDelayedEvent(DelayedEvent* event) noexcept;

// An event for which memory is set aside: its owner frees it, and may post it again after its dispatch.
struct FreeReservedEvent {
    void operator()(DelayedEvent* event) const noexcept;
};
using ReservedEvent = std::unique_ptr<DelayedEvent, FreeReservedEvent>;
// Throws std::bad_alloc.
ReservedEvent ReserveDelayedEvent(CDelayedDirectoryChangeHandler* handler, EventCode code, const wchar_t* path,
                                  DWORD error);

// Calls the handler, on the notifier's thread, and frees the event.
void DispatchDelayedEvent(DelayedEvent* event);
// Takes the event that a WM_DELAYED_EVENT carries in its lParam: dispatches it, or frees it when it names no handler.
void ReceiveDelayedEvent(LPARAM carried);
