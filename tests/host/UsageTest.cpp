// Sentences for wrong command lines, and for small counts.
#include "support/Handle.h"
#include "support/Hashes.h"
#include "support/OwnerAccess.h"
#include "tests/host/HostTest.h"
#include "tests/support/Said.h"

#include <set>

namespace
{

class Usage : public HostTest
{
protected:
    // The one message of a command line that is wrong.
    static std::string Told(const Arguments& arguments)
    {
        HostProcess host(arguments);
        EXPECT_EQ(host.Finish(), 2);
        EXPECT_EQ(host.ErrorLines().size(), 1u);
        return host.ErrorLines().empty() ? "" : host.ErrorLines().front();
    }
    static std::string AllErrors(const HostProcess& host)
    {
        std::string all;
        for (const std::string& line : host.ErrorLines())
            all += line + "\n";
        return all;
    }
    static std::string AllOutput(const HostProcess& host)
    {
        std::string all;
        for (const std::string& line : host.OutputLines())
            all += line + "\n";
        return all;
    }
    // A command for people, on the selection and the index of the test.
    Arguments Plain(const wchar_t* command, const Arguments& more = {}) const
    {
        return Joined({command, L"--data", Path(L"selection.xml"), L"--index", index}, more);
    }
};

TEST_F(Usage, ANumberThatIsNoneIsNamedWithWhatIsWanted)
{
    EXPECT_TRUE(Says(Told({L"watch", L"--data", L"a", L"--index", L"b", L"--timeout", L"abc"}),
                     "\"abc\" is no number of seconds above 0"));
    EXPECT_TRUE(Says(Told({L"watch", L"--data", L"a", L"--index", L"b", L"--timeout", L"-1"}),
                     "\"-1\" is no number of seconds above 0"));
    EXPECT_TRUE(
        Says(Told({L"watch", L"--data", L"a", L"--index", L"b", L"--max-events", L"-1"}), "\"-1\" is no whole number"));
    EXPECT_TRUE(Says(Told({L"estimate", L"--data", L"a", L"--profile", L"x"}), "\"x\" is no whole number"));
}

TEST_F(Usage, AnUnknownCommandOrOptionIsNamedWithTheNearestOne)
{
    EXPECT_TRUE(Says(Told({L"wach"}), "there is no command \"wach\"; did you mean watch?"));
    EXPECT_TRUE(Says(Told({L"watch", L"--data", L"a", L"--inex", L"b"}),
                     "orbwatch watch has no option --inex; did you mean --index?"));
    EXPECT_TRUE(Says(Told({L"watch", L"--data", L"a", L"--index", L"b", L"--zzzzzzzz"}),
                     "orbwatch watch has no option --zzzzzzzz; see orbwatch watch --help"));
    EXPECT_TRUE(Says(Told({}), "a command must be named"));
    EXPECT_TRUE(Says(Told({L"watch", L"--index", L"b", L"--data"}), "--data needs a value"));
}

TEST_F(Usage, AnEmptyPathIsCalledEmpty)
{
    EXPECT_TRUE(Says(Told({L"watch", L"--data", L"", L"--index", L"b"}), "--data: the path is empty"));
    EXPECT_TRUE(Says(Told({L"doctor", L"--data-folder", L""}), "--data-folder: the folder is empty"));
    EXPECT_TRUE(Says(Told({L"explain", L"--data", Path(L"selection.xml"), L""}), "the path is empty"));
}

TEST_F(Usage, AListThatIsNotMadeIsNotCalledExtended)
{
    HostProcess host(Plain(L"export", {L"--to", Path(L"list.xml")}));
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_TRUE(host.OutputLines().empty()) << AllOutput(host);
    EXPECT_TRUE(Says(AllErrors(host), "no list was made")) << AllErrors(host);
}

TEST_F(Usage, OneFileIsNotCalledFiles)
{
    Write(L"a.txt", "a");
    HostProcess host(Plain(L"enumerate"));
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_TRUE(Says(AllOutput(host), "2 found: 1 file, 1 folder")) << AllOutput(host);
}

TEST_F(Usage, MalformedRulesAreRefusedWithTheReason)
{
    folder.WriteBytes(L"new.xml", "<Data><Item");
    HostProcess malformed(Plain(L"add", {L"--rules", Path(L"new.xml")}));
    EXPECT_EQ(malformed.Finish(), 2);
    EXPECT_TRUE(Says(AllErrors(malformed), "the rules cannot be read: line 1, column 7: Element tag"))
        << AllErrors(malformed);
    EXPECT_EQ(malformed.ErrorLines().size(), 1u) << "once is enough";
    std::filesystem::remove(Path(L"new.xml"));
    HostProcess missing(Plain(L"add", {L"--rules", Path(L"new.xml")}));
    EXPECT_EQ(missing.Finish(), 2);
    EXPECT_TRUE(Says(AllErrors(missing), "the rules cannot be read: the file is not there")) << AllErrors(missing);
}

TEST_F(Usage, ADeletedFolderIsSpelledLikeAPendingOne)
{
    Write(L"gone\\a.txt", "x");
    const Arguments record =
        Joined({L"enumerate", L"--json", L"--data", Path(L"selection.xml"), L"--index", index}, {L"--record"});
    std::set<std::string> pending, deleted;
    {
        HostProcess host(record);
        ASSERT_EQ(host.Finish(), 0);
        for (const Json& one : OfType(host.Records(), "pending"))
            if (one.at("path").get<std::string>().find("gone") != std::string::npos)
                pending.insert(one.at("path"));
    }
    std::filesystem::remove_all(InTree(L"gone"));
    HostProcess host(record);
    ASSERT_EQ(host.Finish(), 0);
    for (const Json& one : OfType(host.Records(), "deleted")) {
        deleted.insert(one.at("path"));
        EXPECT_EQ(one.at("kind"), one.at("path").get<std::string>().ends_with("a.txt") ? "file" : "directory");
    }
    EXPECT_EQ(deleted, pending);
    EXPECT_EQ(deleted.size(), 2u);
}

TEST_F(Usage, AnEditThatNamesNothingIsToldAndTheCodeSaysSo)
{
    Write(L"a.txt", "x");
    HostProcess host(
        {L"estimate", L"--data", Path(L"selection.xml"), L"--exclude", InTree(L"missing"), L"--mask", L".tmp"});
    EXPECT_EQ(host.Finish(), 3);
    EXPECT_TRUE(Says(AllErrors(host), "missing: not there; this edit changes nothing")) << AllErrors(host);
    EXPECT_TRUE(Says(AllErrors(host), "--mask concerns the folders of --include alone")) << AllErrors(host);
    HostProcess include({L"estimate", L"--data", Path(L"selection.xml"), L"--include", InTree(L"missing")});
    EXPECT_EQ(include.Finish(), 3);
    EXPECT_TRUE(Says(AllErrors(include), "missing: not there; this edit changes nothing")) << AllErrors(include);
}

TEST_F(Usage, ATimeLimitIsNoPossibleException)
{
    for (int i = 0; i < 50; ++i)
        Write(L"d" + std::to_wstring(i) + L"\\a.txt", "x");
    HostProcess host(Plain(L"enumerate", {L"--timeout", L"0.001"}));
    EXPECT_EQ(host.Finish(), 4);
    EXPECT_FALSE(Says(AllErrors(host), "exception")) << AllErrors(host);
}

TEST_F(Usage, TheLogHoldsFailuresUnlessMoreIsAskedFor)
{
    HostProcess quiet(Plain(L"enumerate"));
    EXPECT_EQ(quiet.Finish(), 0);
    EXPECT_FALSE(std::filesystem::exists(data + L"\\OrbWatcher.log"));
    HostProcess full(Plain(L"enumerate", {L"--log-level", L"all"}));
    EXPECT_EQ(full.Finish(), 0);
    EXPECT_TRUE(Says(folder.ReadBytes(L"data\\OrbWatcher.log"), "COrbWatcher::FirstRun"));
    std::filesystem::remove(data + L"\\OrbWatcher.log");
    folder.WriteBytes(L"data\\MainSettings.json", "{\"Main\": {\"LogLevel\": \"all\"}}");
    HostProcess byTheSettings(Plain(L"enumerate"));
    EXPECT_EQ(byTheSettings.Finish(), 0);
    EXPECT_TRUE(std::filesystem::exists(data + L"\\OrbWatcher.log"));
    EXPECT_TRUE(Says(Told({L"doctor", L"--log-level", L"loud"}), "\"loud\" is none of errors, all"));
}

TEST_F(Usage, ANameThatTheSystemRefusesIsToldAsLeftOutOnce)
{
    if (const std::string why = WhyNoOddNames(); !why.empty())
        GTEST_SKIP() << why;
    ASSERT_TRUE(MakeOddName(tree, L"a<b.txt"));
    Write(L"plain.txt", "x");
    HostProcess host(Plain(L"enumerate"));
    EXPECT_EQ(host.Finish(), 3);
    EXPECT_TRUE(Says(AllOutput(host), "a<b.txt\": cannot be read")) << AllOutput(host);
    EXPECT_FALSE(Says(AllErrors(host), "a<b.txt")) << AllErrors(host);
    EXPECT_TRUE(Says(AllOutput(host), "plain.txt"));
    RemoveOddName(tree, L"a<b.txt");
}

TEST_F(Usage, ABusyWatchIsWaitedForAndThatIsSaid)
{
    // A watch of this account that reads the request and does not answer for a while.
    CString name;
    name.Format(L"\\\\.\\pipe\\orbwatch-%016I64x", PathHash64(data));
    OwnerAccess access;
    const FileHandle pipe(CreateNamedPipeW(name, PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                           PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, 1, 4096, 65536, 0,
                                           access.Attributes()));
    ASSERT_TRUE(pipe);
    const KernelHandle connected(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    OVERLAPPED connecting = {};
    connecting.hEvent = connected.Get();
    ConnectNamedPipe(pipe.Get(), &connecting);
    HostProcess host(Joined({L"export", L"--json", L"--data", Path(L"selection.xml"), L"--index", index},
                            {L"--to", Path(L"list.xml")}));
    EXPECT_EQ(WaitForSingleObject(connected.Get(), 30000), WAIT_OBJECT_0);
    EXPECT_FALSE(host.WaitForErrorType("note").empty()) << AllErrors(host);
    host.Interrupt();
    EXPECT_EQ(host.Finish(), 130);
}

} // namespace
