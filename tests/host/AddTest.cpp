// New rules for a selection.
#include "tests/host/HostTest.h"

#include <set>

namespace
{

class Add : public HostTest
{
protected:
    Add()
    {
        std::filesystem::create_directories(Path(L"more"));
        folder.WriteBytes(L"more\\f.txt", "x");
    }
    Arguments Command(const Arguments& more = {}) const
    {
        return Joined(
            {L"add", L"--json", L"--data", Path(L"selection.xml"), L"--index", index, L"--rules", Path(L"new.xml")},
            more);
    }
    std::string Rule(const wchar_t* name, const std::wstring& more = L"") const
    {
        return Item(L"path=\"" + Path(name) + L"\" type=\"1\" includeSub=\"1\"" + more);
    }
    // Each path comes once, except those of a watch: a file that is made and written is handed out twice when the
    // hand-out falls between both.
    static std::set<std::string> PathsOf(const std::vector<Json>& records, const char* type)
    {
        std::set<std::string> paths;
        for (const Json& record : OfType(records, type))
            EXPECT_TRUE(paths.insert(record.at("path").get<std::string>()).second || type == std::string("pending"))
                << record;
        return paths;
    }
    std::string Selection() const { return folder.ReadBytes(L"selection.xml"); }
};

TEST_F(Add, RulesGetIntoTheSelectionAndWhatTheySelectWaitsForTheNextWatch)
{
    WriteSelection(L"new.xml", Rule(L"more"));
    const std::string before = Selection();
    HostProcess host(Command());
    ASSERT_EQ(host.Finish(), 0);
    const std::set<std::string> queued{Utf8(Path(L"more\\")), Utf8(Path(L"more\\f.txt"))};
    EXPECT_EQ(PathsOf(host.Records(), "queued"), queued);
    EXPECT_EQ(host.Records().back().at("queued"), 2);
    EXPECT_EQ(host.Records().back().at("exit"), 0);
    EXPECT_EQ(Selection(), before.substr(0, before.size() - 7) + Rule(L"more") + "</Data>");
    const auto next = StartWatch({});
    for (const std::string& path : queued)
        EXPECT_FALSE(next->WaitFor([&](const Json& record) { return record.value("path", "") == path; }).empty());
    folder.WriteBytes(L"more\\later.txt", "x");
    EXPECT_FALSE(next->WaitForPath(Path(L"more\\later.txt")).empty());
}

TEST_F(Add, WhatWaitedAlreadyGoesOnWaiting)
{
    {
        const auto watch = StartWatch({L"--collect"});
        Write(L"a.txt", "a");
        ASSERT_FALSE(watch->WaitForType("collected").empty());
        watch->Interrupt();
        ASSERT_EQ(watch->Finish(), 130);
    }
    WriteSelection(L"new.xml", Rule(L"more"));
    HostProcess host(Command());
    ASSERT_EQ(host.Finish(), 0);
    EXPECT_EQ(host.Records().back().at("queued"), 2);
    const auto next = StartWatch({});
    EXPECT_FALSE(next->WaitForPath(InTree(L"a.txt")).empty());
    EXPECT_FALSE(next->WaitForPath(Path(L"more\\f.txt")).empty());
}

TEST_F(Add, ExclusionsAreToldAndTheirFileStays)
{
    WriteSelection(L"new.xml", Rule(L"tree\\out", L" exclude=\"1\""));
    HostProcess host(Command({L"--delete"}));
    ASSERT_EQ(host.Finish(), 0);
    const std::vector<Json> excluded = OfType(host.Records(), "excluded");
    ASSERT_EQ(excluded.size(), 1u);
    EXPECT_EQ(excluded[0].at("path"), Utf8(InTree(L"out\\")));
    EXPECT_EQ(excluded[0].at("kind"), "folder");
    EXPECT_TRUE(std::filesystem::exists(Path(L"new.xml")));
    EXPECT_NE(Selection().find("out"), std::string::npos);
}

TEST_F(Add, TheSelectionItselfIsNoFileOfNewRules)
{
    const std::string before = Selection();
    std::wstring spelled = Path(L"selection.xml");
    CharUpperBuffW(spelled.data(), static_cast<DWORD>(spelled.size()));
    HostProcess host(
        {L"add", L"--json", L"--data", Path(L"selection.xml"), L"--index", index, L"--rules", spelled, L"--delete"});
    EXPECT_EQ(host.Finish(), 2);
    EXPECT_EQ(Selection(), before);
}

TEST_F(Add, AFileOfWhichSomethingIsNotUnderstoodStays)
{
    folder.WriteBytes(L"new.xml", "<Data><item path=\"C:\\x\\\" type=\"1\"/></Data>");
    HostProcess host(Command({L"--delete"}));
    host.Finish();
    EXPECT_TRUE(std::filesystem::exists(Path(L"new.xml")));
}

TEST_F(Add, OnlyMergedTheyQueueNothing)
{
    WriteSelection(L"new.xml", Rule(L"more"));
    HostProcess host(Command({L"--merge-only", L"--delete"}));
    ASSERT_EQ(host.Finish(), 0);
    EXPECT_EQ(host.Records().back().at("queued"), 0);
    EXPECT_NE(Selection().find("more"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(Path(L"new.xml")));
    EXPECT_FALSE(std::filesystem::exists(data + L"\\watcher_dump.bin"));
}

TEST_F(Add, AMissingOrMalformedFileOfRulesIsWrongInput)
{
    HostProcess missing(Command());
    EXPECT_EQ(missing.Finish(), 2);
    EXPECT_EQ(OnlyError(missing).value("path", ""), Utf8(Path(L"new.xml")));
    folder.WriteBytes(L"new.xml", "<Data><Item");
    HostProcess malformed(Command());
    EXPECT_EQ(malformed.Finish(), 2);
}

TEST_F(Add, ARuleThatContradictsTheSelectionOrTheRulesBeforeItIsToldAndLeftOut)
{
    WriteSelection(L"new.xml", Rule(L"more") + Rule(L"more", L" exclude=\"1\""));
    HostProcess host(Command());
    EXPECT_EQ(host.Finish(), 1);
    EXPECT_EQ(host.Records().back().at("queued"), 2);
    const std::vector<Json> notes = OfType(host.Errors(), "note");
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_NE(notes[0].at("message").get<std::string>().find("contradicts the selection"), std::string::npos);
}

TEST_F(Add, ASelectionThatCannotBeWrittenIsToldAndTheRulesStay)
{
    WriteSelection(L"new.xml", Rule(L"more"));
    const std::wstring selection = Path(L"selection.xml");
    const std::string before = Selection();
    ASSERT_TRUE(SetFileAttributesW(selection.c_str(), FILE_ATTRIBUTE_READONLY));
    HostProcess host(Command({L"--delete"}));
    EXPECT_EQ(host.Finish(), 1);
    ASSERT_TRUE(SetFileAttributesW(selection.c_str(), FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(Selection(), before);
    EXPECT_TRUE(std::filesystem::exists(Path(L"new.xml")));
}

TEST_F(Add, AWatchThatRunsTakesTheRulesAtOnceAndHandsOutWhatTheySelect)
{
    const auto watch = StartWatch({});
    WriteSelection(L"new.xml", Rule(L"more") + Rule(L"tree\\out", L" exclude=\"1\""));
    HostProcess host(Command());
    ASSERT_EQ(host.Finish(), 0);
    EXPECT_EQ(host.Records().back().at("queued"), nullptr);
    EXPECT_EQ(PathsOf(host.Records(), "excluded"), std::set<std::string>{Utf8(InTree(L"out\\"))});
    EXPECT_FALSE(watch->WaitForPath(Path(L"more\\f.txt")).empty());
    Write(L"out\\left out.txt", "x");
    folder.WriteBytes(L"more\\later.txt", "x");
    EXPECT_FALSE(watch->WaitForPath(Path(L"more\\later.txt")).empty());
    watch->Interrupt();
    EXPECT_EQ(watch->Finish(), 130);
    EXPECT_FALSE(PathsOf(watch->Records(), "pending").contains(Utf8(InTree(L"out\\left out.txt"))));
    EXPECT_NE(Selection().find("more"), std::string::npos);
}

TEST_F(Add, WhatGoesWrongInAWatchThatRunsIsToldByBoth)
{
    const auto watch = StartWatch({});
    HostProcess missing(Command());
    EXPECT_EQ(missing.Finish(), 2);
    EXPECT_EQ(OnlyError(missing).value("path", ""), Utf8(Path(L"new.xml")));
    WriteSelection(L"new.xml", Rule(L"more") + Rule(L"more", L" exclude=\"1\""));
    HostProcess contradicting(Command());
    EXPECT_EQ(contradicting.Finish(), 1);
    EXPECT_EQ(OfType(contradicting.Errors(), "note").size(), 1u);
    watch->Interrupt();
    EXPECT_EQ(watch->Finish(), 130);
    EXPECT_FALSE(OfType(watch->Errors(), "note").empty());
}

} // namespace
