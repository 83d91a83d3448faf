// One full run over a selection.
#include "companions/indexdb/OrbIndexDB.h"
#include "support/FileTimes.h"
#include "tests/host/HostTest.h"

#include <set>

namespace
{

class Enumerate : public HostTest
{
protected:
    Arguments Command(const Arguments& more = {}) const
    {
        return Joined({L"enumerate", L"--json", L"--data", Path(L"selection.xml"), L"--index", index}, more);
    }
    // Runs to its end, which must be `code`; the records that it printed.
    std::vector<Json> Run(const Arguments& more = {}, int code = 0) const
    {
        HostProcess host(Command(more));
        EXPECT_EQ(host.Finish(), code);
        std::vector<Json> records = host.Records();
        EXPECT_EQ(records.empty() ? "" : records.back().at("type"), "summary");
        if (records.empty())
            records.push_back(Json::object());
        EXPECT_EQ(records.back().value("exit", -1), code);
        return records;
    }
    // The paths of one type; each must come once.
    static std::set<std::string> PathsOf(const std::vector<Json>& records, const char* type = "pending")
    {
        std::set<std::string> paths;
        for (const Json& record : OfType(records, type))
            EXPECT_TRUE(paths.insert(record.at("path").get<std::string>()).second) << record;
        return paths;
    }
    std::set<std::string> InTree8(const std::vector<std::wstring>& names) const
    {
        std::set<std::string> paths;
        for (const std::wstring& name : names)
            paths.insert(Utf8(InTree(name)));
        return paths;
    }
    std::string Exclusion(const std::wstring& name, const std::wstring& more = L"") const
    {
        return Item(L"path=\"" + InTree(name) + L"\" type=\"1\" includeSub=\"1\" exclude=\"1\"" + more);
    }
    // Leaves these files of the tree pending for the next start.
    void LeavePending(const std::vector<std::wstring>& names) const
    {
        const auto host = StartWatch({L"--collect"});
        for (const std::wstring& name : names)
            Write(name, "x");
        const Json collected = host->WaitFor(
            [&](const Json& record) { return record.value("pending", 0) == static_cast<int>(names.size()); });
        ASSERT_FALSE(collected.empty());
        host->Interrupt();
        ASSERT_EQ(host->Finish(), 130);
    }
    bool DumpIsThere() const { return std::filesystem::exists(data + L"\\watcher_dump.bin"); }
};

TEST_F(Enumerate, EachSelectedFileAndFolderComesOnceAndTheSummaryCountsThem)
{
    for (int i = 0; i < 40; ++i)
        Write(L"d" + std::to_wstring(i % 4) + L"\\f" + std::to_wstring(i), "x");
    const std::vector<Json> records = Run();
    EXPECT_EQ(PathsOf(records).size(), 45u);
    const Json& summary = records.back();
    EXPECT_EQ(summary.at("found"), 45);
    EXPECT_EQ(summary.at("files"), 40);
    EXPECT_EQ(summary.at("folders"), 5);
    EXPECT_EQ(summary.at("new"), 45);
    EXPECT_EQ(summary.at("handedOut"), 45);
    EXPECT_EQ(summary.at("pending"), 0);
    EXPECT_FALSE(DumpIsThere());
}

TEST_F(Enumerate, WhatIsHiddenOrExcludedIsCountedByItsReason)
{
    Write(L"plain.txt", "x");
    Write(L"private\\secret.txt", "x");
    Write(L"old.bak", "x");
    Write(L"draft.tmp", "x");
    Write(L"lock.dat", "x");
    ASSERT_TRUE(SetFileAttributesW(Write(L"hidden.txt", "x").c_str(), FILE_ATTRIBUTE_HIDDEN));
    WriteSelection(TreeItem() + Exclusion(L"private") + Exclusion(L"", L" mask=\".bak\""));
    const std::wstring automatic = WriteSelection(L"auto.xml", Exclusion(L"", L" mask=\".tmp\""));
    const std::wstring advanced = WriteSelection(L"advanced.xml", Exclusion(L"", L" mask=\".dat\""));
    const Arguments files = {L"--auto-exclude", automatic, L"--advanced", advanced};
    const std::vector<Json> records = Run(files);
    EXPECT_EQ(PathsOf(records), InTree8({L"", L"plain.txt"}));
    const Json& skipped = records.back().at("skipped");
    EXPECT_EQ(skipped.at("hidden"), 1);
    EXPECT_EQ(skipped.at("excluded"), 2);
    EXPECT_EQ(skipped.at("autoExcluded"), 1);
    EXPECT_EQ(skipped.at("advanced"), 1);
    EXPECT_EQ(skipped.at("walkedAlready"), 0);
    EXPECT_EQ(PathsOf(Run(Joined(files, {L"--hidden"}))), InTree8({L"", L"plain.txt", L"hidden.txt"}));
}

TEST_F(Enumerate, WhatWasRecordedIsUnchangedAndWhatChangedSinceComesAgain)
{
    Write(L"same.txt", "x");
    Write(L"changed.txt", "x");
    EXPECT_EQ(PathsOf(Run({L"--record"})), InTree8({L"", L"same.txt", L"changed.txt"}));
    std::filesystem::last_write_time(InTree(L"changed.txt"),
                                     std::filesystem::file_time_type::clock::now() + std::chrono::hours(1));
    Write(L"new.txt", "x");
    const std::vector<Json> records = Run({L"--record"});
    EXPECT_EQ(PathsOf(records), InTree8({L"changed.txt", L"new.txt"}));
    EXPECT_EQ(records.back().at("unchanged"), 2);
    EXPECT_EQ(records.back().at("new"), 2);
}

TEST_F(Enumerate, AFileThatIsGoneSinceItWasRecordedIsToldAsDeleted)
{
    Write(L"gone\\a.txt", "x");
    Write(L"there.txt", "x");
    Run({L"--record"});
    std::filesystem::remove_all(InTree(L"gone"));
    const std::vector<Json> records = Run({L"--record"});
    EXPECT_EQ(PathsOf(records, "deleted"), InTree8({L"gone\\", L"gone\\a.txt"}));
    EXPECT_TRUE(PathsOf(records).empty());
    EXPECT_EQ(records.back().at("deleted"), 2);
    EXPECT_EQ(Run({L"--record"}).back().at("deleted"), 0);
}

TEST_F(Enumerate, AFileThatNobodyMayReadIsUnreadableAndTheCodeSaysSo)
{
    const FileHandle owner(
        CreateFileW(InTree(L"taken.txt").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    ASSERT_TRUE(owner);
    EXPECT_EQ(Run({}, 3).back().at("unreadable"), 1);
}

TEST_F(Enumerate, ASelectedFolderThatCannotBeReadIsNamedAndTheCodeSaysSo)
{
    ASSERT_TRUE(MakeLink(Path(L"circle"), Path(L"circle"))); // no account can open it
    Write(L"a.txt", "x");
    WriteSelection(TreeItem() + Item(L"path=\"" + Path(L"circle") + L"\" type=\"1\" includeSub=\"1\""));
    HostProcess host(Command());
    EXPECT_EQ(host.Finish(), 3);
    EXPECT_EQ(PathsOf(host.Records()), InTree8({L"", L"a.txt"}));
    EXPECT_EQ(host.Records().back().at("unreadable"), 1);
    EXPECT_EQ(PathsOf(host.Records(), "skipped"), std::set<std::string>{Utf8(Path(L"circle\\"))});
    EXPECT_TRUE(OfType(host.Errors(), "note").empty()) << "once is enough";
    RemoveLink(Path(L"circle"));
}

TEST_F(Enumerate, ARootThatIsNotThereIsNamedAndTheCodeSaysSo)
{
    WriteSelection(TreeItem() + Item(LR"(path="Q:\docs" type="1" includeSub="1")"));
    HostProcess host(Command());
    EXPECT_EQ(host.Finish(), 3);
    const std::vector<Json> notes = OfType(host.Errors(), "note");
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(notes[0].at("path"), "q:\\");
    EXPECT_EQ(host.Records().back().at("missing"), 1);
}

TEST_F(Enumerate, WhatAnEarlierWatchLeftComesToo)
{
    LeavePending({L"a.txt", L"b.txt"});
    Write(L"c.txt", "x");
    const std::vector<Json> records = Run();
    EXPECT_EQ(PathsOf(records), InTree8({L"", L"a.txt", L"b.txt", L"c.txt"}));
    EXPECT_EQ(records.back().at("waiting"), 2);
    EXPECT_FALSE(DumpIsThere());
}

TEST_F(Enumerate, AnInterruptionKeepsWhatIsPending)
{
    LeavePending({L"a.txt", L"b.txt"});
    {
        HostProcess host(Command(), HostProcess::Begin::Interrupted);
        EXPECT_EQ(host.Finish(), 130);
        const Json summary = host.Records().back();
        EXPECT_EQ(summary.at("handedOut"), 0);
        EXPECT_GE(summary.at("pending"), 2);
        EXPECT_TRUE(DumpIsThere());
    }
    EXPECT_EQ(PathsOf(Run()), InTree8({L"", L"a.txt", L"b.txt"}));
}

TEST_F(Enumerate, TheTimeLimitKeepsWhatIsPending)
{
    for (int i = 0; i < 300; ++i)
        Write(L"f" + std::to_wstring(i), "x");
    HostProcess host(Command({L"--timeout", L"0.001"}));
    EXPECT_EQ(host.Finish(), 4);
    EXPECT_TRUE(PathsOf(host.Records()).empty());
    EXPECT_EQ(PathsOf(Run()).size(), 301u);
}

TEST_F(Enumerate, ACompleteRunIsNoted)
{
    folder.WriteBytes(L"data\\ServiceRunSettings.json", R"({"Backup": {"FirstTimeRunTime": 5}})");
    Run();
    const Json settings = Json::parse(folder.ReadBytes(L"data\\ServiceRunSettings.json"));
    EXPECT_GT(settings.at("Backup").value("FirstTimeRunTime", 0), 5);
}

TEST_F(Enumerate, WithoutJsonLinesForPeopleSumUpAndAPipeSeesNoProgress)
{
    Write(L"a.txt", "four");
    HostProcess host({L"enumerate", L"--data", Path(L"selection.xml"), L"--index", index});
    EXPECT_EQ(host.Finish(), 0);
    const std::vector<std::string> lines = host.OutputLines();
    EXPECT_NE(std::find(lines.begin(), lines.end(), "2 found: 1 file, 1 folder"), lines.end());
    EXPECT_EQ(lines.back(), "2 handed out, 0 still pending");
    for (const std::string& line : host.ErrorLines())
        EXPECT_EQ(line.find(" folders, "), std::string::npos) << line;
}

} // namespace
