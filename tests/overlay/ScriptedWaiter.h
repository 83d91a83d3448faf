// Stands in for the other side and for the time: what happens during a wait is the
// test's to say.
#pragma once

#include "OrbFileMonitorService/OverlayWaiter.h"

#include <atomic>
#include <functional>
#include <vector>

// Waits without a script end at once: with the event when it is set, else as timed out.
class ScriptedWaiter final : public OverlayWaiter
{
public:
    using Step = std::function<DWORD(HANDLE)>;

    DWORD Wait(HANDLE event, DWORD milliseconds) override
    {
        limits.push_back(milliseconds);
        const Step& step = limits.size() % 2 == 1 ? whileWaitingForTheTurn : whileWaitingForTheAnswer;
        return step ? step(event) : WaitForSingleObject(event, 0);
    }

    GrowingPause::Time Now() override { return now; }

    std::vector<DWORD> limits; // of every wait so far
    GrowingPause::Time now{std::chrono::hours(100)};
    // A request that fails in its first wait must be the last one.
    Step whileWaitingForTheTurn;
    Step whileWaitingForTheAnswer;
};

// Waits for real. A patient one gives a busy machine the time that it needs; the other one expects no answer.
class RealWaiter final : public OverlayWaiter
{
public:
    DWORD Wait(HANDLE event, DWORD milliseconds) override
    {
        ++waits;
        return WaitForSingleObject(event, patient ? 30000 : milliseconds);
    }
    GrowingPause::Time Now() override { return std::chrono::steady_clock::now() + ahead; }

    std::chrono::seconds ahead{0}; // of the clock: pauses are over sooner
    std::atomic<bool> patient{true};
    std::atomic<int> waits{0};
};
