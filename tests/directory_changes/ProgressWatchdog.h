// Ends the process when no step is taken any more, so that a deadlock is a failure and not a wait.
#pragma once

#include "mfc/CEvent.h"

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

class ProgressWatchdog
{
public:
    static constexpr DWORD Limit = 60000; // milliseconds without a step

    // `workers` is the number of threads that take steps, one index each.
    ProgressWatchdog(std::string what, std::size_t workers)
        : m_what(std::move(what)),
          m_doing(workers),
          m_thread([this] { Watch(); })
    {
    }
    ~ProgressWatchdog()
    {
        m_done.SetEvent();
        m_thread.join();
    }
    ProgressWatchdog(const ProgressWatchdog&) = delete;
    ProgressWatchdog& operator=(const ProgressWatchdog&) = delete;

    // `what` must outlive the watchdog.
    void Step(std::size_t worker, const char* what)
    {
        m_doing[worker] = what;
        ++m_steps;
    }

private:
    void Watch()
    {
        unsigned long long before = 0;
        while (!m_done.Lock(Limit))
            if (m_steps == std::exchange(before, m_steps.load()))
                End();
    }
    void End() const
    {
        std::printf("%s: hangs\n", m_what.c_str());
        for (const std::atomic<const char*>& doing : m_doing)
            std::printf("  %s\n", doing.load() ? doing.load() : "not begun");
        std::fflush(stdout);
        TerminateProcess(GetCurrentProcess(), 1);
    }

    const std::string m_what;
    std::vector<std::atomic<const char*>> m_doing;
    std::atomic<unsigned long long> m_steps{0};
    CEvent m_done{false, true};
    std::thread m_thread; // last: uses the others
};
