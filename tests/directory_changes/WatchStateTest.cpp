// The worker's lease on a watch, and what callers do meanwhile.
#include "directory_changes/WatchState.h"

#include "tests/directory_changes/ScriptedReads.h"

#include <gtest/gtest.h>

namespace
{

class Lease : public testing::Test
{
protected:
    ScriptedReads io;
    DirectoryRead read{OpenDirectory(io, L"C:\\d")};
    WatchState state{read};

    void Run()
    {
        ASSERT_EQ(state.Take(WatchInput::StartAsked).task, WatchTask::PostPacket);
        ASSERT_EQ(state.BeginLease(WatchInput::Packet).task, WatchTask::FirstRead);
        ASSERT_EQ(read.Issue(), 0u);
        WatchStep step{};
        ASSERT_FALSE(state.EndLease(step));
        ASSERT_EQ(state.Now(), StateRunning);
    }
};

TEST_F(Lease, ARefusedPacketOfAStopCountsAtItsEnd)
{
    Run();
    ASSERT_EQ(state.BeginLease(WatchInput::ReadBack).task, WatchTask::HandleRead);
    EXPECT_EQ(state.Take(WatchInput::StopAsked).task, WatchTask::PostPacket);
    EXPECT_EQ(state.Take(WatchInput::PostRefused).task, WatchTask::Nothing);
    EXPECT_TRUE(state.IsEnding());
    WatchStep step{};
    ASSERT_TRUE(state.EndLease(step));
    EXPECT_EQ(step.task, WatchTask::FinishStopped); // no read was issued meanwhile
    EXPECT_FALSE(state.EndLease(step));
}

TEST_F(Lease, WithoutOneARefusedPacketClosesTheDirectoryAtOnce)
{
    Run();
    ASSERT_EQ(state.Take(WatchInput::StopAsked).task, WatchTask::PostPacket);
    EXPECT_EQ(state.Take(WatchInput::PostRefused).task, WatchTask::CloseDirectory);
    EXPECT_EQ(io.closed, 1);
    EXPECT_EQ(state.Now(), StateStopped);
    EXPECT_EQ(state.BeginLease(WatchInput::ReadBack).task, WatchTask::HandleLastRead);
}

TEST_F(Lease, NobodyGivesAWatchUpThatALiveWorkerHandles)
{
    Run();
    ASSERT_EQ(state.BeginLease(WatchInput::ReadBack).task, WatchTask::HandleRead);
    EXPECT_EQ(state.Take(WatchInput::GivenUp).task, WatchTask::Nothing);
    EXPECT_EQ(state.Now(), StateRunning);
    EXPECT_EQ(state.Take(WatchInput::GivenUp, true).task, WatchTask::FinishStopped);
    EXPECT_EQ(state.Now(), StateEnded);
}

TEST_F(Lease, TheReadThatComesBackIsNotPendingAnyMore)
{
    Run();
    ASSERT_TRUE(read.IsPending());
    state.BeginLease(WatchInput::ReadBack);
    EXPECT_FALSE(read.IsPending());
}

} // namespace
