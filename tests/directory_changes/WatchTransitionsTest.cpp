// The table that decides how a watch ends.
#include "directory_changes/WatchTransitions.h"

#include <gtest/gtest.h>

#include <array>

namespace
{

constexpr std::array states{StateNotSet,         StateStartMonitoring, StateRunning,
                            StateStopMonitoring, StateStopped,         StateEnded};

WatchStep Step(RunningState state, WatchInput input, bool readPending = false)
{
    return NextStep(state, input, readPending);
}

TEST(WatchTransitions, AWatchThatIsAskedToStopEndsWithTheReadThatComesBack)
{
    WatchStep step = Step(StateRunning, WatchInput::StopAsked, true);
    EXPECT_EQ(step.task, WatchTask::PostPacket);
    step = Step(step.next, WatchInput::Packet, true);
    EXPECT_EQ(step.task, WatchTask::CloseDirectory);
    step = Step(step.next, WatchInput::ReadBack);
    EXPECT_EQ(step.task, WatchTask::HandleLastRead);
    EXPECT_EQ(step.next, StateEnded);
}

TEST(WatchTransitions, AWatchWithoutAReadEndsWithTheStop)
{
    EXPECT_EQ(Step(StateStopMonitoring, WatchInput::Packet).task, WatchTask::FinishStopped);
    EXPECT_EQ(Step(StateStopMonitoring, WatchInput::PostRefused).task, WatchTask::FinishStopped);
    EXPECT_EQ(Step(StateNotSet, WatchInput::StopAsked).next, StateEnded);
}

TEST(WatchTransitions, AStopThatOvertakesItsStartLetsNoReadBeIssued)
{
    const WatchStep step = Step(StateStartMonitoring, WatchInput::StopAsked);
    EXPECT_EQ(Step(step.next, WatchInput::Packet).task, WatchTask::FinishStopped);
    EXPECT_EQ(Step(StateEnded, WatchInput::Packet).task, WatchTask::Nothing);
    EXPECT_EQ(Step(StateEnded, WatchInput::StartAsked).task, WatchTask::Nothing);
}

TEST(WatchTransitions, AStopThatIsAskedForAgainAsksForNothing)
{
    for (const RunningState state : {StateStopMonitoring, StateStopped, StateEnded}) {
        const WatchStep step = Step(state, WatchInput::StopAsked, true);
        EXPECT_EQ(step.next, state);
        EXPECT_EQ(step.task, WatchTask::Nothing);
    }
}

// Each way into StateEnded has a task that finishes the watch; no other step has one.
TEST(WatchTransitions, EachWatchIsFinishedOnce)
{
    const auto finishes = [](WatchTask task) {
        return task == WatchTask::FinishStopped || task == WatchTask::FinishFailed ||
               task == WatchTask::FinishUnheard || task == WatchTask::HandleLastRead;
    };
    for (const WatchTransition& row : WatchTransitions)
        EXPECT_EQ(finishes(row.step.task), row.step.next == StateEnded && row.state != StateEnded);
}

TEST(WatchTransitions, AWatchThatIsGivenUpHasEndedWhateverItWaitedFor)
{
    for (const RunningState state : states)
        if (state != StateNotSet) {
            EXPECT_EQ(Step(state, WatchInput::GivenUp, true).next, StateEnded);
        }
}

TEST(WatchTransitions, NothingLeadsOutOfTheEnd)
{
    for (const WatchTransition& row : WatchTransitions)
        if (row.state == StateEnded) {
            EXPECT_EQ(row.step.next, StateEnded);
        }
}

} // namespace
