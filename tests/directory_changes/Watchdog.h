// Ends the process when a test hangs, so that a deadlock is a failure and not a wait.
#pragma once

#include "mfc/CEvent.h"

#include <cstdio>
#include <thread>

// Lives as long as what might hang. Only a deadlock reaches the limit.
class Watchdog
{
public:
    static constexpr DWORD Limit = 45000; // milliseconds

    // `what` is printed; it must outlive the watchdog.
    explicit Watchdog(const char* what, DWORD limit = Limit)
        : m_thread([this, what, limit] {
              if (m_done.Lock(limit))
                  return;
              std::printf("%s: hangs\n", what);
              std::fflush(stdout);
              TerminateProcess(GetCurrentProcess(), 1);
          })
    {
    }
    ~Watchdog()
    {
        m_done.SetEvent();
        m_thread.join();
    }
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

private:
    CEvent m_done{false, true};
    std::thread m_thread;
};
