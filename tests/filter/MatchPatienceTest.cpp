#include "orbwatcher4/filter/MatchPatience.h"

#include <gtest/gtest.h>

namespace
{

using namespace std::chrono_literals;

class Patience : public testing::Test
{
protected:
    MatchPatience patience;
    MatchPatience::Time now{100h};

    std::chrono::seconds GiveUp(int times)
    {
        std::chrono::seconds last(0);
        for (int i = 0; i < times; ++i)
            last = patience.NoteGivenUp(now);
        return last;
    }
};

TEST_F(Patience, LastsForTwoTimes)
{
    EXPECT_EQ(GiveUp(2), 0s);
    EXPECT_FALSE(patience.IsOff(now));
    EXPECT_EQ(GiveUp(1), 1s);
    EXPECT_TRUE(patience.IsOff(now));
    EXPECT_TRUE(patience.IsOff(now + 999ms));
    EXPECT_FALSE(patience.IsOff(now + 1s));
}

TEST_F(Patience, IsShorterEachTimeUpToFiveMinutes)
{
    std::chrono::seconds pause = GiveUp(3);
    for (const std::chrono::seconds expected : {2s, 4s, 8s, 16s, 32s, 64s, 128s, 256s, 300s, 300s}) {
        now += pause;
        pause = GiveUp(1);
        EXPECT_EQ(pause, expected);
    }
}

TEST_F(Patience, HearsOfNothingWhileItIsOff)
{
    GiveUp(3);
    EXPECT_EQ(GiveUp(5), 0s) << "matches that other threads had begun before";
    now += 1s;
    EXPECT_EQ(GiveUp(1), 2s);
}

TEST_F(Patience, ReturnsAfterAThousandAnswersInARow)
{
    GiveUp(3);
    now += 1s;
    for (int i = 0; i < 999; ++i)
        patience.NoteAnswer();
    EXPECT_TRUE(patience.HasGivenUp());
    patience.NoteAnswer();
    EXPECT_FALSE(patience.HasGivenUp());
    EXPECT_EQ(GiveUp(2), 0s);
    EXPECT_EQ(GiveUp(1), 1s);
}

TEST_F(Patience, IsNotRestoredByAnswersBetweenTwoTimes)
{
    std::chrono::seconds last(0);
    for (int i = 0; i < 3; ++i) {
        for (int answer = 0; answer < 500; ++answer)
            patience.NoteAnswer();
        last = GiveUp(1);
    }
    EXPECT_EQ(last, 1s);
}

} // namespace
