// What is pending, as a list in a file.
#include "support/Handle.h"
#include "support/Hashes.h"
#include "tests/host/HostTest.h"

#include <set>

namespace
{

class Export : public HostTest
{
protected:
    Arguments Command(const Arguments& more = {}) const
    {
        return Joined(
            {L"export", L"--json", L"--data", Path(L"selection.xml"), L"--index", index, L"--to", Path(L"pending.xml")},
            more);
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
    // Of the watch of the data folder.
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
    EXPECT_EQ(Exported({L"--max", L"1"}), 1);
    EXPECT_NE(List().find("<count>2</count>"), std::string::npos);
    EXPECT_NE(List().find("<count>1</count>"), std::string::npos);
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
    EXPECT_EQ(Exported({L"--max", L"0"}), 0);
    const auto next = StartWatch({});
    EXPECT_FALSE(next->WaitForPath(InTree(L"a & b.txt")).empty());
    EXPECT_FALSE(next->WaitForPath(InTree(L"c.txt")).empty());
}

TEST_F(Export, OfNothingLeavesTheListAloneAndSaysSo)
{
    HostProcess host(Command());
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_EQ(host.Records().back().at("count"), 0);
    EXPECT_EQ(OfType(host.Errors(), "note").size(), 1u);
    EXPECT_FALSE(std::filesystem::exists(Path(L"pending.xml")));
}

TEST_F(Export, ThatCannotBeWrittenFailsWhoeverMakesIt)
{
    std::filesystem::create_directories(Path(L"pending.xml\\in the way"));
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

// It could not be told from none at all, and what waits in it would be left out.
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
    for (int i = 0; i < 3; ++i)
        hosts.push_back(std::make_unique<HostProcess>(Joined(Command(), {L"--max", std::to_wstring(i)})));
    for (const auto& host : hosts)
        EXPECT_EQ(host->Finish(), 0);
    for (const char* count : {"<count>0</count>", "<count>1</count>", "<count>2</count>"})
        EXPECT_NE(List().find(count), std::string::npos) << count;
}

} // namespace
