// The runner, with programs that misbehave: each is named in the reports, and the others are run.
#include "support/Handle.h"
#include "tests/selftest/ProgramRun.h"
#include "tests/support/EnvironmentText.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace
{

using Outcome = TestResult::Outcome;

class Runner : public testing::Test
{
protected:
    // One program under these names. It finds its DLLs where this one has them.
    void SetUp() override
    {
        wchar_t own[1024] = L"";
        GetModuleFileNameW(nullptr, own, 1024);
        const std::filesystem::path built = std::filesystem::path(own).parent_path();
        SetEnvironmentVariableW(L"PATH", (built.wstring() + L";" + m_pathBefore).c_str());
        std::filesystem::create_directories(m_bin);
        for (const wchar_t* name :
             {L"passes", L"fails", L"skips", L"crashes", L"hangs", L"exits", L"stumbles", L"silent"})
            Link(built / "misbehaving.exe", std::wstring(name) + L".exe");
    }
    void TearDown() override { SetEnvironmentVariableW(L"PATH", m_pathBefore.c_str()); }

    ProgramResult Run(const std::wstring& name, DWORD limit = 60, const std::wstring& filter = L"")
    {
        return ProgramRun(m_bin / (name + L".exe"), m_root / name, nullptr).Run(filter, limit);
    }
    static std::string ReasonOf(const ProgramResult& result, const std::string& test)
    {
        for (const TestResult& one : result.tests)
            if (one.name == test && one.outcome != Outcome::Passed)
                return one.text;
        return "";
    }

    TempFolder folder;
    const std::filesystem::path m_root = folder.Path().GetString();
    const std::filesystem::path m_bin = m_root / "bin";

private:
    const std::wstring m_pathBefore = EnvironmentText(L"PATH");

    void Link(const std::filesystem::path& file, const std::wstring& name)
    {
        ASSERT_TRUE(CreateHardLinkW((m_bin / name).c_str(), file.c_str(), nullptr) ||
                    CopyFileW(file.c_str(), (m_bin / name).c_str(), TRUE));
    }
};

TEST_F(Runner, TellsWhatPassedFailedAndWasSkipped)
{
    EXPECT_EQ(Run(L"passes").Count(Outcome::Passed), 3);
    const ProgramResult fails = Run(L"fails"), skips = Run(L"skips");
    EXPECT_EQ(fails.Count(Outcome::Passed), 2);
    EXPECT_NE(ReasonOf(fails, "Misbehaving.Second").find("as <asked> & \"wanted\""), std::string::npos);
    EXPECT_EQ(skips.Count(Outcome::Skipped), 1);
    EXPECT_EQ(ReasonOf(skips, "Misbehaving.Second"), "for a reason");
}

TEST_F(Runner, ACrashIsAFailureOfTheTestThatWasRunning)
{
    const ProgramResult result = Run(L"crashes");
    EXPECT_EQ(result.Count(Outcome::Passed), 1);
    EXPECT_EQ(result.Count(Outcome::Failed), 1);
    const std::string reason = ReasonOf(result, "Misbehaving.Second");
    EXPECT_NE(reason.find("ended with code 0xC0000005 during this test"), std::string::npos) << reason;
    EXPECT_NE(reason.find("this is crashes"), std::string::npos) << reason;
}

TEST_F(Runner, AProgramThatEndsInTheMiddleFailsThoughItsCodeIsGood)
{
    EXPECT_NE(ReasonOf(Run(L"exits"), "Misbehaving.Second").find("ended with code 0 during"), std::string::npos);
}

TEST_F(Runner, AProgramThatHangsIsEndedWithAllThatItHasStarted)
{
    const ProgramResult result = Run(L"hangs", 2);
    // On a busy machine it may not have come to its second test.
    ASSERT_EQ(result.Count(Outcome::Failed), 1);
    EXPECT_NE(result.tests.back().text.find("was ended after 2 seconds"), std::string::npos);
    // Nothing runs there any more.
    std::error_code error;
    std::filesystem::remove_all(m_root / L"hangs", error);
    EXPECT_FALSE(error) << error.message();
    EXPECT_TRUE(DeleteFileW((m_bin / L"hangs.exe").c_str()));
}

TEST_F(Runner, AProgramThatFailsBeforeItsFirstTestIsRunAgainInAnEmptyFolder)
{
    EXPECT_EQ(Run(L"stumbles").Count(Outcome::Passed), 3);
    EXPECT_EQ(std::filesystem::file_size(m_bin / "stumbles.count"), 2u);
}

TEST_F(Runner, AProgramThatEndsWellWithoutATestIsNotRunAgain)
{
    EXPECT_EQ(Run(L"silent").Count(Outcome::Passed), 0);
    EXPECT_EQ(std::filesystem::file_size(m_bin / "silent.count"), 1u);
}

TEST_F(Runner, AFilterChoosesTests)
{
    const ProgramResult result = Run(L"fails", 60, L"*.First:*.Third");
    EXPECT_EQ(result.Count(Outcome::Passed), 2);
    EXPECT_EQ(result.tests.size(), 2u);
}

TEST_F(Runner, AProgramThatCannotBeStartedIsAFailureOfItsName)
{
    EXPECT_NE(ReasonOf(Run(L"missing"), "missing.Program").find("cannot be started"), std::string::npos);
}

} // namespace
