// The sample selection to start from.
#include "support/Utf8Text.h"
#include "tests/host/HostTest.h"

namespace
{

using InitCommand = HostTest;

TEST_F(InitCommand, WhatItWritesIsASelectionThatLoads)
{
    HostProcess init({L"init", Path(L"a\\b"), L"--json"});
    ASSERT_EQ(init.Finish(), 0);
    const std::vector<Json> created = init.Records();
    ASSERT_EQ(created.size(), 3u);
    for (const Json& record : created) {
        EXPECT_EQ(record.at("type"), "created");
        EXPECT_TRUE(std::filesystem::exists(FromUtf8(record.at("path").get<std::string>())));
    }
    HostProcess explain({L"explain", L"--json", L"--data", Path(L"a\\b\\selection.xml"), L"--auto-exclude",
                         Path(L"a\\b\\auto-exclude.xml"), L"--advanced", Path(L"a\\b\\advanced.xml"), L"C:\\x"});
    EXPECT_EQ(explain.Finish(), 0);
    EXPECT_TRUE(explain.Errors().empty());
}

TEST_F(InitCommand, AFileThatIsThereIsNeverOverwrittenAndNothingElseIsWritten)
{
    folder.WriteBytes(L"mine\\advanced.xml", "mine");
    HostProcess init({L"init", Path(L"mine"), L"--json"});
    EXPECT_EQ(init.Finish(), 1);
    EXPECT_EQ(OnlyError(init).value("path", ""), Utf8(Path(L"mine\\advanced.xml")));
    EXPECT_EQ(folder.ReadBytes(L"mine\\advanced.xml"), "mine");
    EXPECT_FALSE(std::filesystem::exists(Path(L"mine\\selection.xml")));
}

TEST_F(InitCommand, AFolderThatCannotBeMadeIsToldWithItsName)
{
    folder.WriteBytes(L"occupied", "x");
    HostProcess init({L"init", Path(L"occupied"), L"--json"});
    EXPECT_EQ(init.Finish(), 1);
    EXPECT_EQ(OnlyError(init).value("path", ""), Utf8(Path(L"occupied")));
}

} // namespace
