// The requests to process pending deletions, from the thread that notes a deletion to the one that processes it.
//
// All watchers on the machine share a named event, so a signal may be meant for another watcher, and another watcher
// may have consumed it. Each watcher therefore has a flag of its own besides. Any thread.
#pragma once

#include "orbwatcher4/core/environment/SharedEvent.h"

#include <atomic>

class DeletionRequests
{
public:
    DeletionRequests() : m_event(CreateSharedEvent(EventName, false, false)) {}

    // Asks for a processing after a quiet time; also the watch threads of other processes.
    void Request();
    // Returns true when there was a request since the last call.
    bool Take();

private:
    friend class WatcherAccess; // tests

    static constexpr const wchar_t* EventName = L"F214AB94-4789-451a-ADDC-981BBFE6B59B";

    std::atomic<bool> m_requested{false};
    KernelHandle m_event;
};
