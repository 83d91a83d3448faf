// The command line of the self-test.
#include "tests/selftest/Options.h"

#include <gtest/gtest.h>

namespace
{

TEST(SelftestOptions, WithoutAWordAllProgramsRunForHalfAnHourEach)
{
    const Options options = ReadOptions({});
    EXPECT_TRUE(options.programs.empty());
    EXPECT_EQ(options.filter, L"");
    EXPECT_EQ(options.limit, 1800u);
    EXPECT_FALSE(options.keepsWork);
    EXPECT_EQ(options.mistake, "");
}

TEST(SelftestOptions, ProgramsAndOptionsMayStandInAnyOrder)
{
    const Options options =
        ReadOptions({L"xml_tests", L"--limit", L"60", L"--keep", L"--filter", L"A.*-B", L"mfc_tests"});
    EXPECT_EQ(options.programs, (std::vector<std::wstring>{L"xml_tests", L"mfc_tests"}));
    EXPECT_EQ(options.limit, 60u);
    EXPECT_EQ(options.filter, L"A.*-B");
    EXPECT_TRUE(options.keepsWork);
    EXPECT_EQ(options.mistake, "");
}

TEST(SelftestOptions, AnUnknownOptionAndAMissingOrWrongValueAreMistakes)
{
    for (const std::vector<std::wstring>& line : {std::vector<std::wstring>{L"--unknown"},
                                                  {L"--filter"},
                                                  {L"--limit"},
                                                  {L"--limit", L"soon"},
                                                  {L"--limit", L"0"},
                                                  {L"--limit", L"-5"}})
        EXPECT_NE(ReadOptions(line).mistake, "") << line.size();
}

} // namespace
