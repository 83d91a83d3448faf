// The pending files, as a list in a file.
#include "support/Handle.h"
#include "support/Hashes.h"
#include "tests/host/HostTest.h"

#include <algorithm>

namespace
{

class Export : public HostTest
{
protected:
    Arguments Command(const Arguments& more = {}) const
    {
        return Joined({L"export", L"--json", L"--data", Path(L"selection.xml"), L"--index", index},
                      std::find(more.begin(), more.end(), L"--to") == more.end()
                          ? Joined({L"--to", Path(L"pending.xml")}, more)
                          : more);
    }
    // The number that the export told.
    int Exported(const Arguments& more = {}, int code = 0) const
    {
        HostProcess host(Command(more));
        EXPECT_EQ(host.Finish(), code);
        const std::vector<Json> records = OfType(host.Records(), "exported");
        return records.size() == 1 ? records[0].at("count").get<int>() : -1;
    }
    std::unique_ptr<HostProcess> CollectTwo() const
    {
        auto host = StartWatch({L"--collect"});
        Write(L"a & b.txt", "a");
        Write(L"c.txt", "b");
        EXPECT_FALSE(host->WaitFor([](const Json& record) { return record.value("pending", 0) == 2; }).empty());
        return host;
    }
    // The running watch of the data folder.
    CString Pipe() const
    {
        CString name;
        name.Format(L"\\\\.\\pipe\\orbwatch-%016I64x", PathHash64(data));
        return name;
    }
    std::string List() const { return folder.ReadBytes(L"pending.xml"); }
    // Watched paths come with the drive's letter in lower case.
    bool Lists(std::string path) const
    {
        if (const std::size_t at = path.find('&'); at != std::string::npos)
            path.replace(at, 1, "&amp;");
        return List().find(path.substr(1) + "</item>") != std::string::npos;
    }
};

TEST_F(Export, OfARunningWatchIsWhatWaitsInIt)
{
    const auto watch = CollectTwo();
    EXPECT_EQ(Exported(), 2);
    EXPECT_TRUE(Lists(Utf8(InTree(L"a & b.txt"))));
    EXPECT_TRUE(Lists(Utf8(InTree(L"c.txt"))));
    EXPECT_NE(List().find("<count>2</count>"), std::string::npos);
    watch->Interrupt();
    EXPECT_EQ(watch->Finish(), 130);
    EXPECT_EQ(watch->Records().back().at("pending"), 2);
}

TEST_F(Export, WithoutAWatchIsWhatTheLastOneLeftAndGoesOnWaiting)
{
    {
        const auto watch = CollectTwo();
        watch->Interrupt();
        ASSERT_EQ(watch->Finish(), 130);
    }
    EXPECT_EQ(Exported(), 2);
    EXPECT_TRUE(Lists(Utf8(InTree(L"c.txt"))));
    const auto next = StartWatch({});
    EXPECT_FALSE(next->WaitForPath(InTree(L"a & b.txt")).empty());
    EXPECT_FALSE(next->WaitForPath(InTree(L"c.txt")).empty());
}

TEST_F(Export, OfNothingMakesNoListAndSaysSo)
{
    HostProcess host(Command());
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_EQ(host.Records().back().at("count"), 0);
    EXPECT_EQ(OfType(host.Errors(), "note").size(), 1u);
    EXPECT_FALSE(std::filesystem::exists(Path(L"pending.xml")));
}

TEST_F(Export, AnOlderListIsReplacedByAWatchAndWithoutOne)
{
    {
        const auto watch = CollectTwo();
        EXPECT_EQ(Exported(), 2);
        EXPECT_EQ(Exported({L"--max", L"1"}), 1);
        EXPECT_EQ(List().find("<count>2</count>"), std::string::npos);
        EXPECT_NE(List().find("<count>1</count>"), std::string::npos);
        watch->Interrupt();
        ASSERT_EQ(watch->Finish(), 130);
    }
    EXPECT_EQ(Exported(), 2);
    const std::string once = List();
    EXPECT_EQ(Exported(), 2);
    EXPECT_EQ(List().size(), once.size());
    {
        const auto next = StartWatch({});
        EXPECT_FALSE(next->WaitForPath(InTree(L"a & b.txt")).empty());
        EXPECT_FALSE(next->WaitForPath(InTree(L"c.txt")).empty());
        next->Interrupt();
        ASSERT_EQ(next->Finish(), 130);
    }
    EXPECT_EQ(Exported(), 0);
    EXPECT_EQ(List().find("<item>"), std::string::npos);
}

TEST_F(Export, AfterAKillSaysThatTheListIsNotCompleteUntilAWatchHasLookedAtEverything)
{
    {
        const auto watch = CollectTwo();
        EXPECT_EQ(watch->Finish(std::chrono::milliseconds(0)), -1);
    }
    for (const char* said : {"killed", "enumeration is due"}) {
        HostProcess host(Command());
        EXPECT_EQ(host.Finish(), 3);
        EXPECT_NE(OnlyError(host).value("message", "").find(said), std::string::npos) << OnlyError(host);
    }
    HostProcess next(Watch({L"--collect", L"--until-quiet", L"0.5"}));
    EXPECT_EQ(next.Finish(), 0);
    EXPECT_EQ(Exported(), 3); // and the folder
}

TEST_F(Export, OfAFolderThatNoWatchHasUsedIsNotCompleteAndDoesNotTakeItOver)
{
    folder.WriteBytes(L"data\\ServiceRunSettings.json", "{}");
    HostProcess host(Command());
    EXPECT_EQ(host.Finish(), 3);
    EXPECT_NE(OnlyError(host).value("message", "").find("nothing says what is pending"), std::string::npos);
    EXPECT_EQ(folder.ReadBytes(L"data\\ServiceRunSettings.json"), "{}");
}

TEST_F(Export, AMisspelledDataFolderOrIndexIsRefusedAndNotMade)
{
    HostProcess wrongFolder(Command({L"--data-folder", Path(L"misspelled")}));
    EXPECT_EQ(wrongFolder.Finish(), 2);
    EXPECT_EQ(OnlyError(wrongFolder).value("path", ""), Utf8(Path(L"misspelled")));
    EXPECT_FALSE(std::filesystem::exists(Path(L"misspelled")));
    HostProcess wrongIndex({L"export", L"--json", L"--data", Path(L"selection.xml"), L"--index", Path(L"misspelled.db"),
                            L"--to", Path(L"pending.xml")});
    EXPECT_EQ(wrongIndex.Finish(), 2);
    EXPECT_EQ(OnlyError(wrongIndex).value("path", ""), Utf8(Path(L"misspelled.db")));
    EXPECT_FALSE(std::filesystem::exists(Path(L"misspelled.db")));
}

TEST_F(Export, IntoAFolderThatIsNotThereOrOverAFolderIsRefused)
{
    std::filesystem::create_directories(Path(L"taken"));
    for (const wchar_t* place : {L"nowhere\\list.xml", L"taken"}) {
        HostProcess host(Command({L"--to", Path(place)}));
        EXPECT_EQ(host.Finish(), 2);
        EXPECT_NE(OnlyError(host).value("message", "").find("folder"), std::string::npos);
    }
    EXPECT_FALSE(std::filesystem::exists(Path(L"nowhere")));
}

TEST_F(Export, OfAtMostSoManySaysHowManyMoreWaitWhoeverMakesIt)
{
    const auto note = [&](const Arguments& more) {
        HostProcess host(Command(more));
        EXPECT_EQ(host.Finish(), 0);
        const std::vector<Json> notes = OfType(host.Errors(), "note");
        return notes.empty() ? std::string() : notes[0].at("message").get<std::string>();
    };
    {
        const auto watch = CollectTwo();
        EXPECT_NE(note({L"--max", L"1"}).find("1 more waits"), std::string::npos);
        EXPECT_EQ(note({L"--max", L"2"}), "");
        watch->Interrupt();
        ASSERT_EQ(watch->Finish(), 130);
    }
    EXPECT_NE(note({L"--max", L"1"}).find("1 more waits"), std::string::npos);
    EXPECT_EQ(note({}), "");
}

TEST_F(Export, WithDamagedSettingsIsMadeOfWhatIsLeftAndNothingIsLost)
{
    {
        const auto watch = CollectTwo();
        watch->Interrupt();
        ASSERT_EQ(watch->Finish(), 130);
    }
    folder.WriteBytes(L"data\\ServiceRunSettings.json", "{");
    for (int i = 0; i < 2; ++i) {
        HostProcess host(Command());
        EXPECT_EQ(host.Finish(), 3);
        EXPECT_NE(OnlyError(host).value("message", "").find("the list is not complete: a full enumeration is due"),
                  std::string::npos)
            << OnlyError(host);
        EXPECT_TRUE(Lists(Utf8(InTree(L"c.txt"))));
    }
    const auto next = StartWatch({});
    EXPECT_FALSE(next->WaitForPath(InTree(L"a & b.txt")).empty());
    EXPECT_FALSE(next->WaitForPath(InTree(L"c.txt")).empty());
}

TEST_F(Export, OfAtMostNoFileIsWrongUsage)
{
    HostProcess host(Command({L"--max", L"0"}));
    EXPECT_EQ(host.Finish(), 2);
    EXPECT_FALSE(std::filesystem::exists(Path(L"pending.xml")));
}

TEST_F(Export, ThatCannotBeWrittenFailsWhoeverMakesIt)
{
    folder.WriteBytes(L"pending.xml", "<root/>");
    ASSERT_TRUE(SetFileAttributesW(Path(L"pending.xml").c_str(), FILE_ATTRIBUTE_READONLY));
    {
        const auto watch = CollectTwo();
        HostProcess host(Command());
        EXPECT_EQ(host.Finish(), 1);
        OnlyError(host);
        watch->Interrupt();
        ASSERT_EQ(watch->Finish(), 130);
    }
    HostProcess host(Command());
    EXPECT_EQ(host.Finish(), 1);
    OnlyError(host);
    ASSERT_TRUE(SetFileAttributesW(Path(L"pending.xml").c_str(), FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(List(), "<root/>");
}

TEST_F(Export, OfAnUnreadableSelectionWithoutAWatchIsWrongInput)
{
    folder.WriteBytes(L"selection.xml", "<Data><Item");
    HostProcess host(Command());
    EXPECT_EQ(host.Finish(), 2);
}

TEST_F(Export, WhatIsNoRequestIsRefusedAndTheWatchGoesOn)
{
    const auto watch = CollectTwo();
    const CString pipe = Pipe();
    for (const std::string request : {R"({"ask":"export","to":5,"max":1})", R"({"ask":"export","to":"x","max":"all"})",
                                      R"({"ask":"add","rules":"x"})", R"({"ask":7})", R"({"to":"x"})", "?"}) {
        ASSERT_TRUE(WaitNamedPipeW(pipe, 30000));
        char answer[4096] = {};
        const FileHandle client(CreateFileW(pipe, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        DWORD bytes = 0;
        ASSERT_TRUE(WriteFile(client.Get(), request.data(), static_cast<DWORD>(request.size()), &bytes, nullptr));
        ASSERT_TRUE(ReadFile(client.Get(), answer, sizeof answer - 1, &bytes, nullptr)) << request;
        EXPECT_NE(std::string(answer).find("this is no request"), std::string::npos) << request;
    }
    EXPECT_EQ(Exported(), 2);
    watch->Interrupt();
    EXPECT_EQ(watch->Finish(), 130);
}

// The command could not tell it from a missing one, and would leave out the files that wait in it.
TEST_F(Export, OfAWatchThatCannotBeAskedFails)
{
    const FileHandle watch(
        CreateNamedPipeW(Pipe(), PIPE_ACCESS_INBOUND, PIPE_TYPE_MESSAGE, 1, 0, sizeof(int), 0, nullptr));
    ASSERT_TRUE(watch);
    HostProcess host(Command());
    EXPECT_EQ(host.Finish(), 1);
    EXPECT_FALSE(std::filesystem::exists(Path(L"pending.xml")));
}

TEST_F(Export, ManyAtOnceAreAnsweredOneAfterTheOther)
{
    const auto watch = CollectTwo();
    std::vector<std::unique_ptr<HostProcess>> hosts;
    for (int i = 1; i <= 3; ++i)
        hosts.push_back(std::make_unique<HostProcess>(
            Command({L"--max", std::to_wstring(i), L"--to", Path((L"list" + std::to_wstring(i) + L".xml").c_str())})));
    for (const auto& host : hosts)
        EXPECT_EQ(host->Finish(), 0);
    EXPECT_NE(folder.ReadBytes(L"list1.xml").find("<count>1</count>"), std::string::npos);
    EXPECT_NE(folder.ReadBytes(L"list2.xml").find("<count>2</count>"), std::string::npos);
    EXPECT_NE(folder.ReadBytes(L"list3.xml").find("<count>2</count>"), std::string::npos);
}

} // namespace
