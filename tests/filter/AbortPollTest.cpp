// Counts how often a walk asks the system whether it is to end.
#include "orbwatcher4/filter/AbortPoll.h"

#include "support/Handle.h"
#include "tests/support/ImportedCall.h"

#include <gtest/gtest.h>

namespace
{

int g_waits = 0;
ULONGLONG g_now = 0;

DWORD WINAPI CountedWait(HANDLE handle, DWORD milliseconds)
{
    ++g_waits;
    return WaitForSingleObjectEx(handle, milliseconds, FALSE);
}
ULONGLONG WINAPI StandingClock() { return g_now; }

class AbortPolls : public testing::Test
{
protected:
    AbortPolls()
    {
        g_waits = 0;
        g_now = 1000;
    }

    const ImportedCall m_wait{nullptr, "WaitForSingleObject", CountedWait};
    const ImportedCall m_clock{nullptr, "GetTickCount64", StandingClock};
    const KernelHandle event{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

TEST_F(AbortPolls, AskTheSystemNoMoreThanTheClockMovesOn)
{
    AbortPoll poll(event.Get());
    for (int i = 0; i < 1000; ++i)
        EXPECT_FALSE(poll.IsSet());
    EXPECT_EQ(g_waits, 64);
    ++g_now;
    for (int i = 0; i < 1000; ++i)
        EXPECT_FALSE(poll.IsSet());
    EXPECT_EQ(g_waits, 65);
}

TEST_F(AbortPolls, SeeASetEventWhenTheClockHasMovedOn)
{
    AbortPoll poll(event.Get());
    for (int i = 0; i < 1000; ++i)
        EXPECT_FALSE(poll.IsSet());
    SetEvent(event.Get());
    ++g_now;
    EXPECT_TRUE(poll.IsSet());
}

TEST_F(AbortPolls, SeeASetEventAtOnceAsLongAsLittleWasAsked)
{
    AbortPoll poll(event.Get());
    for (int i = 0; i < 60; ++i)
        EXPECT_FALSE(poll.IsSet());
    SetEvent(event.Get());
    EXPECT_TRUE(poll.IsSet());
}

TEST_F(AbortPolls, StaySetOnceTheyWere)
{
    SetEvent(event.Get());
    AbortPoll poll(event.Get());
    EXPECT_TRUE(poll.IsSet());
    ResetEvent(event.Get());
    ++g_now;
    EXPECT_TRUE(poll.IsSet());
}

TEST_F(AbortPolls, AreNeverSetWithoutAnEventAndAlwaysWithABadHandle)
{
    EXPECT_FALSE(AbortPoll(nullptr).IsSet());
    EXPECT_EQ(g_waits, 0);
    EXPECT_TRUE(AbortPoll(reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(0x7FFFFFF0))).IsSet());
}

} // namespace
