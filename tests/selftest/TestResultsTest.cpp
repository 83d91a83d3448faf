// The results of a program's tests, read from its records and its end.
#include "tests/selftest/TestResults.h"

#include <gtest/gtest.h>

#include <sstream>

namespace
{

using Outcome = TestResult::Outcome;

RecordedRun Read(const std::string& lines)
{
    std::istringstream stream(lines);
    return ReadRecords(stream);
}

constexpr const char* TwoTests = R"({"begun":"A.One"}
{"ended":"A.One","result":"passed","seconds":0.25}
{"begun":"A.Two"}
{"ended":"A.Two","result":"skipped","seconds":0,"text":"why"}
)";

TEST(ReadingRecords, EachEndedTestHasItsResultTimeAndText)
{
    const RecordedRun run = Read(TwoTests + std::string("{\"over\":true}\n"));
    ASSERT_EQ(run.tests.size(), 2u);
    EXPECT_EQ(run.tests[0].name, "A.One");
    EXPECT_EQ(run.tests[0].outcome, Outcome::Passed);
    EXPECT_EQ(run.tests[0].seconds, 0.25);
    EXPECT_EQ(run.tests[1].outcome, Outcome::Skipped);
    EXPECT_EQ(run.tests[1].text, "why");
    EXPECT_TRUE(run.over);
    EXPECT_EQ(run.running, "");
}

TEST(ReadingRecords, ATestThatHasNotEndedIsTheRunningOneAndHalfALineIsLeftOut)
{
    const RecordedRun run = Read(TwoTests + std::string("{\"begun\":\"A.Three\"}\n{\"ended\":\"A.Thr"));
    EXPECT_EQ(run.running, "A.Three");
    EXPECT_EQ(run.tests.size(), 2u);
    EXPECT_FALSE(run.over);
}

TEST(JudgingARun, ASoundOneIsItsTestsAlone)
{
    const ProgramResult result = JudgeRun("p", Read(TwoTests + std::string("{\"over\":true}\n")), {});
    EXPECT_EQ(result.Count(Outcome::Passed), 1);
    EXPECT_EQ(result.Count(Outcome::Skipped), 1);
    EXPECT_EQ(result.Count(Outcome::Failed), 0);
}

TEST(JudgingARun, ACrashFailsTheRunningTestAndKeepsTheOthers)
{
    const ProgramResult result = JudgeRun("p", Read(TwoTests + std::string("{\"begun\":\"A.Three\"}\n")),
                                          {true, 5, "ended with code 5", "last"});
    ASSERT_EQ(result.tests.size(), 3u);
    EXPECT_EQ(result.tests[2].name, "A.Three");
    EXPECT_EQ(result.tests[2].outcome, Outcome::Failed);
    EXPECT_EQ(result.tests[2].text, "the program ended with code 5 during this test; it printed last:\nlast");
}

TEST(JudgingARun, AProgramThatHasNotBegunFailsByItsName)
{
    const ProgramResult result = JudgeRun("p", Read(""), {true, 53, "ended with code 53", ""});
    ASSERT_EQ(result.tests.size(), 1u);
    EXPECT_EQ(result.tests[0].name, "p.Program");
    EXPECT_EQ(result.tests[0].text, "the program ended with code 53 before its first test");
}

TEST(JudgingARun, AnEndBeforeTheEndFailsThoughItsCodeIsGood)
{
    EXPECT_EQ(JudgeRun("p", Read(TwoTests), {}).Count(Outcome::Failed), 1);
}

TEST(JudgingARun, ABadCodeWithoutAFailedTestFails)
{
    const RecordedRun run = Read(TwoTests + std::string("{\"over\":true}\n"));
    EXPECT_EQ(JudgeRun("p", run, {true, 3, "ended with code 3", ""}).Count(Outcome::Failed), 1);
}

TEST(ASecondRun, IsMadeOfTheTestsThatNeedAnAdministratorAndTakesTheirPlaces)
{
    ProgramResult first{"p",
                        1,
                        {{"A.One", Outcome::Skipped, 0, "needs an administrator: it makes an account"},
                         {"A.Two", Outcome::Skipped, 0, "for another reason"},
                         {"A.Three", Outcome::Passed, 0, "needs an administrator"}}};
    EXPECT_EQ(NeedAnAdministrator(first), std::vector<std::string>{"A.One"});
    TakeSecondRun(first, {"p", 2, {{"A.One", Outcome::Failed, 0, "wrong"}}});
    ASSERT_EQ(first.tests.size(), 3u);
    EXPECT_EQ(first.tests[0].outcome, Outcome::Failed);
    EXPECT_TRUE(first.tests[0].asAdministrator);
    EXPECT_FALSE(first.tests[1].asAdministrator);
    EXPECT_EQ(first.seconds, 3);
}

} // namespace
