// How watches end: what was delivered before is told, whatever the system does meanwhile.
#include "tests/directory_changes/FaultFixture.h"

#include <gtest/gtest.h>

namespace
{

using EngineStop = FaultFixture;

TEST_F(EngineStop, AReadThatCompletedBeforeTheStopIsTold)
{
    ASSERT_EQ(Watch(), 0u);
    io.beforePost = [&] { io.Complete(Bytes(1, L"a")); };
    Unwatch();
    EXPECT_EQ(handler.Events(), (Events{Started(), At(L"+", L"a"), Stopped()}));
}

TEST_F(EngineStop, WhatTheSystemGathersWhileALastReadIsHandledIsToldAsWell)
{
    ASSERT_EQ(Watch(), 0u);
    io.beforePost = [&] { io.Complete(Bytes(1, L"a")); };
    io.beforeClose = [&] {
        EXPECT_EQ(io.reads, 2);
        io.Complete(Bytes(1, L"b"));
    };
    Unwatch();
    EXPECT_EQ(handler.Events(), (Events{Started(), At(L"+", L"a"), At(L"+", L"b"), Stopped()}));
}

TEST_F(EngineStop, AReadThatCompletesAsItsDirectoryIsClosedIsTold)
{
    ASSERT_EQ(Watch(), 0u);
    io.beforeClose = [&] { io.Complete(Bytes(4, L"old")); };
    Unwatch();
    EXPECT_EQ(handler.Events(), (Events{Started(), At(L"-", L"old"), Stopped()}));
}

TEST_F(EngineStop, ChangesThatWereLostBeforeTheStopAreTold)
{
    ASSERT_EQ(Watch(), 0u);
    io.beforePost = [&] { io.Complete({}); };
    Unwatch();
    EXPECT_EQ(handler.Events(), (Events{Started(), Lost(), Stopped()}));
}

TEST_F(EngineStop, ChangesThatWereLostBeforeTheDirectoryWasClosedAreTold)
{
    ASSERT_EQ(Watch(), 0u);
    io.beforePost = [&] { io.afterWait = [&] { io.Complete({}); }; };
    Unwatch();
    EXPECT_EQ(handler.Events(), (Events{Started(), Lost(), Stopped()}));
}

TEST_F(EngineStop, ChangesThatWereLostAsTheDirectoryWasClosedAreTold)
{
    ASSERT_EQ(Watch(), 0u);
    io.beforeClose = [&] { io.Complete({}); };
    Unwatch();
    EXPECT_EQ(handler.Events(), (Events{Started(), Lost(), Stopped()}));
}

TEST_F(EngineStop, AReadThatFailedBeforeTheDirectoryWasClosedIsALoss)
{
    ASSERT_EQ(Watch(), 0u);
    io.beforePost = [&] { io.afterWait = [&] { io.Fail(); }; };
    Unwatch();
    EXPECT_EQ(handler.Events(), (Events{Started(), Lost(), Stopped()}));
}

TEST_F(EngineStop, AReadThatClosingGivesBackIsNoLoss)
{
    ASSERT_EQ(Watch(), 0u);
    Unwatch();
    EXPECT_EQ(handler.Events(), (Events{Started(), Stopped()}));
}

} // namespace
