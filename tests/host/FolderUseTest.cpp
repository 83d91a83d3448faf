// One data folder, one selection, one index, and one command at a time.
#include "support/Handle.h"
#include "tests/host/HostTest.h"
#include "tests/support/Said.h"

namespace
{

class DataFolderUse : public HostTest
{
protected:
    DataFolderUse()
    {
        std::filesystem::create_directories(Path(L"other"));
        WriteSelection(L"other.xml", Item(L"path=\"" + Path(L"other") + L"\" type=\"1\" includeSub=\"1\""));
    }

    Arguments Command(const wchar_t* command, const wchar_t* selection, const wchar_t* index,
                      const Arguments& more = {}) const
    {
        return Joined({command, L"--json", L"--data", Path(selection), L"--index", Path(index)}, more);
    }
    // A watch that leaves one file pending.
    std::wstring LeavePending() const
    {
        const auto watch = StartWatch({L"--collect"});
        std::wstring path = Write(L"a.txt", "a");
        EXPECT_FALSE(watch->WaitForType("collected").empty());
        watch->Interrupt();
        EXPECT_EQ(watch->Finish(), 130);
        return path;
    }
    static std::string ErrorOf(const HostProcess& host) { return OnlyError(host).value("message", ""); }
    static testing::AssertionResult Contains(const std::string& text, const std::wstring& part)
    {
        return Says(text, Utf8(part));
    }
};

TEST_F(DataFolderUse, WhatWaitsForOneSelectionOutlivesAWatchOfAnother)
{
    const std::wstring pending = LeavePending();
    for (const Arguments& other : {Command(L"watch", L"other.xml", L"index.db", {L"--until-quiet", L"0.2"}),
                                   Command(L"watch", L"selection.xml", L"other.db", {L"--until-quiet", L"0.2"}),
                                   Command(L"enumerate", L"other.xml", L"other.db")}) {
        HostProcess host(other);
        EXPECT_EQ(host.Finish(), 2);
        const std::string error = ErrorOf(host);
        EXPECT_TRUE(Contains(error, Path(L"selection.xml"))) << error;
        EXPECT_TRUE(Contains(error, L"--data-folder")) << error;
    }
    const auto next = StartWatch({});
    EXPECT_FALSE(next->WaitForPath(pending).empty());
}

TEST_F(DataFolderUse, ADataFolderOfItsOwnIsNamedOnTheCommandLine)
{
    const std::wstring pending = LeavePending();
    HostProcess other(
        Command(L"watch", L"other.xml", L"other.db", {L"--until-quiet", L"0.2", L"--data-folder", Path(L"data2")}));
    EXPECT_EQ(other.Finish(), 0);
    EXPECT_TRUE(std::filesystem::exists(Path(L"data2\\ServiceRunSettings.json")));
    const auto next = StartWatch({});
    EXPECT_FALSE(next->WaitForPath(pending).empty());
}

TEST_F(DataFolderUse, ATakeOverLooksAtEverythingAgainForBothSelections)
{
    const std::wstring pending = LeavePending();
    folder.WriteBytes(L"other\\old.txt", "x");
    {
        HostProcess other(Command(L"watch", L"other.xml", L"other.db", {L"--take-over"}));
        EXPECT_FALSE(other.WaitForPath(Path(L"other\\old.txt")).empty());
    }
    HostProcess refused(Watch({L"--until-quiet", L"0.2"}));
    EXPECT_EQ(refused.Finish(), 2);
    const auto back = StartWatch({L"--take-over"});
    EXPECT_FALSE(back->WaitForPath(pending).empty());
}

TEST_F(DataFolderUse, ASecondWatchIsRefusedAndNamesTheFirst)
{
    const auto first = StartWatch({});
    for (const wchar_t* command : {L"watch", L"enumerate"}) {
        HostProcess second(Command(command, L"selection.xml", L"index.db"));
        EXPECT_EQ(second.Finish(), 2);
        EXPECT_TRUE(Contains(ErrorOf(second), L"orbwatch watch (process ")) << ErrorOf(second);
    }
    EXPECT_FALSE(first->WaitForPath(Write(L"a.txt", "a")).empty());
}

TEST_F(DataFolderUse, ASecondWatchOfOneIndexIsRefusedInAnotherDataFolder)
{
    const auto first = StartWatch({});
    HostProcess second(Watch({L"--data-folder", Path(L"data2")}));
    EXPECT_EQ(second.Finish(), 2);
    EXPECT_TRUE(Contains(ErrorOf(second), L"the index is in use by orbwatch watch")) << ErrorOf(second);
}

TEST_F(DataFolderUse, AKilledWatchKeepsNobodyOut)
{
    const auto killed = StartWatch({});
    EXPECT_EQ(killed->Finish(std::chrono::milliseconds(0)), -1);
    const auto next = StartWatch({});
    EXPECT_FALSE(next->WaitForPath(Write(L"a.txt", "a")).empty());
    next->Interrupt();
    EXPECT_EQ(next->Finish(), 130);
    EXPECT_FALSE(std::filesystem::exists(data + L"\\watcher_claim.txt"));
    EXPECT_FALSE(std::filesystem::exists(index + L"-claim"));
}

TEST_F(DataFolderUse, RulesAndListsOfAnotherSelectionAreRefusedWhileAWatchRuns)
{
    const auto watch = StartWatch({L"--collect"});
    Write(L"a.txt", "a");
    ASSERT_FALSE(watch->WaitForType("collected").empty());
    WriteSelection(L"new.xml", Item(L"path=\"" + Path(L"other") + L"\" type=\"1\" includeSub=\"1\""));
    const std::string before = folder.ReadBytes(L"selection.xml");
    HostProcess add(Command(L"add", L"other.xml", L"index.db", {L"--rules", Path(L"new.xml")}));
    EXPECT_EQ(add.Finish(), 2);
    HostProcess list(Command(L"export", L"selection.xml", L"other.db", {L"--to", Path(L"list.xml")}));
    EXPECT_EQ(list.Finish(), 2);
    for (const HostProcess* host : {&add, &list}) {
        const std::string error = ErrorOf(*host);
        EXPECT_TRUE(Contains(error, Path(L"selection.xml")) &&
                    Contains(error, host == &add ? L"other.xml" : L"other.db"))
            << error;
    }
    EXPECT_EQ(folder.ReadBytes(L"selection.xml"), before);
    EXPECT_FALSE(std::filesystem::exists(Path(L"list.xml")));
    HostProcess same(Command(L"add", L"selection.xml", L"index.db", {L"--rules", Path(L"new.xml"), L"--merge-only"}));
    EXPECT_EQ(same.Finish(), 0);
}

// The settings may be lost while a watch runs.
TEST_F(DataFolderUse, TheRunningWatchItselfRefusesRulesOfAnotherSelection)
{
    const auto watch = StartWatch({});
    ASSERT_TRUE(DeleteFileW((data + L"\\ServiceRunSettings.json").c_str()));
    WriteSelection(L"new.xml", Item(L"path=\"" + Path(L"other") + L"\" type=\"1\" includeSub=\"1\""));
    const std::string before = folder.ReadBytes(L"selection.xml");
    HostProcess add(Command(L"add", L"other.xml", L"index.db", {L"--rules", Path(L"new.xml")}));
    EXPECT_EQ(add.Finish(), 2);
    EXPECT_TRUE(Contains(ErrorOf(add), L"the watch that runs on this data folder has the selection")) << ErrorOf(add);
    EXPECT_EQ(folder.ReadBytes(L"selection.xml"), before);
}

TEST_F(DataFolderUse, AFolderWhereNoMarkCanBeMadeIsToldAndEndsWithThree)
{
    // Nothing can be made in this folder by an ordinary account, and under Wine by no account.
    HostProcess host(Watch({L"--until-quiet", L"0.2", L"--data-folder", ForbiddenFolder()}));
    EXPECT_EQ(host.Finish(), 3);
    bool told = false;
    for (const Json& error : OfType(host.Errors(), "error"))
        told = told || Contains(error.value("message", ""), L"no running mark can be made");
    EXPECT_TRUE(told);
}

TEST_F(DataFolderUse, ADataFolderThatIsAFileOrOnAMissingDriveIsRefusedByEveryCommand)
{
    const std::string selection = folder.ReadBytes(L"selection.xml");
    WriteSelection(L"new.xml", Item(L"path=\"" + Path(L"other") + L"\" type=\"1\" includeSub=\"1\""));
    for (const std::wstring& unusable :
         {Path(L"selection.xml"), Path(L"selection.xml\\data"), std::wstring(L"Q:\\data")})
        for (const Arguments& command :
             {Command(L"watch", L"selection.xml", L"index.db", {L"--until-quiet", L"0.2"}),
              Command(L"enumerate", L"selection.xml", L"index.db"),
              Command(L"export", L"selection.xml", L"index.db", {L"--to", Path(L"list.xml")}),
              Command(L"add", L"selection.xml", L"index.db", {L"--rules", Path(L"new.xml")}),
              Arguments{L"estimate", L"--json", L"--data", Path(L"selection.xml")}, Explain({tree}),
              Arguments{L"overlay", L"--json"}}) {
            HostProcess host(Joined(command, {L"--data-folder", unusable}));
            EXPECT_EQ(host.Finish(), 2) << Utf8(command[0]) << Utf8(unusable);
            EXPECT_EQ(host.Errors().size(), 1u) << Utf8(command[0]) << Utf8(unusable);
            EXPECT_TRUE(host.Records().empty()) << Utf8(command[0]) << Utf8(unusable);
        }
    EXPECT_EQ(folder.ReadBytes(L"selection.xml"), selection);
}

} // namespace
