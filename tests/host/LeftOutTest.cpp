// A part of the selection that is left out is named, and the exit code says so, in every command.
#include "tests/host/HostTest.h"

#include <set>

namespace
{

class LeftOut : public HostTest
{
protected:
    using Skips = std::set<std::pair<std::string, std::string>>; // path, reason

    struct End {
        int code;
        Skips skips;
        std::vector<Json> records, errors;
    };
    static End Finish(HostProcess& host)
    {
        End end{host.Finish(), {}, host.Records(), host.Errors()};
        for (const Json& record : OfType(end.records, "skipped"))
            EXPECT_TRUE(end.skips.emplace(record.at("path"), record.at("reason")).second) << record;
        return end;
    }
    static End Run(const Arguments& arguments)
    {
        HostProcess host(arguments);
        return Finish(host);
    }
    Arguments Quiet(const Arguments& more = {}) const { return Watch(Joined({L"--until-quiet", L"0.2"}, more)); }
    Arguments Estimate(const Arguments& more = {}) const
    {
        return Joined({L"estimate", L"--json", L"--data", Path(L"selection.xml")}, more);
    }
    Arguments Add() const
    {
        return {L"add", L"--json", L"--data", Path(L"selection.xml"), L"--index", index, L"--rules", Path(L"new.xml")};
    }
    static std::string Folder(const std::wstring& path)
    {
        return Item(L"path=\"" + path + L"\" type=\"1\" includeSub=\"1\" pluginId=\"3\"");
    }
    static bool HasNote(const End& end, const std::string& part)
    {
        return std::any_of(end.errors.begin(), end.errors.end(), [&](const Json& record) {
            return record.at("message").get<std::string>().find(part) != std::string::npos;
        });
    }
};

TEST_F(LeftOut, AWatchNamesAMisspelledPathOnceAndEndsWithThree)
{
    WriteSelection(TreeItem() + Folder(Path(L"misspelled")));
    for (const Arguments& arguments : {Quiet(), Quiet({L"--enumerate"})}) {
        const End end = Run(arguments);
        EXPECT_EQ(end.code, 3);
        EXPECT_EQ(end.skips, (Skips{{Utf8(Path(L"misspelled\\")), "missing"}}));
        EXPECT_EQ(end.records.back().at("exit"), 3);
    }
}

TEST_F(LeftOut, APathThatComesDuringAWatchWasNotLeftOut)
{
    WriteSelection(TreeItem() + Folder(Path(L"later")));
    HostProcess host(Watch({L"--until-quiet", L"2"}));
    EXPECT_FALSE(host.WaitForType("skipped").empty());
    folder.WriteBytes(L"later\\a.txt", "x");
    EXPECT_FALSE(host.WaitForPath(Path(L"later\\a.txt")).empty());
    EXPECT_EQ(host.Finish(), 0);
}

TEST_F(LeftOut, ADriveThatIsAwayEndsAnEstimateWithThreeAndIsOnItsPage)
{
    Write(L"a.txt", "x");
    WriteSelection(TreeItem() + Folder(L"Y:\\away") + Folder(Path(L"misspelled")));
    const End end = Run(Estimate({L"--report", Path(L"report.html")}));
    EXPECT_EQ(end.code, 3);
    EXPECT_EQ(end.skips, (Skips{{"y:\\", "missing"}, {Utf8(Path(L"misspelled\\")), "missing"}}));
    EXPECT_EQ(end.records.back().at("files"), 1);
    const std::string page = folder.ReadBytes(L"report.html");
    EXPECT_NE(page.find("misspelled\\\\: not there\""), std::string::npos);
    EXPECT_NE(page.find("\"y:\\\\: not there\""), std::string::npos);
}

TEST_F(LeftOut, ASelectionThatIncludesNothingEndsWithThree)
{
    WriteSelection(Item(L"path=\"" + tree + L"\" type=\"1\" includeSub=\"1\" exclude=\"1\""));
    for (const Arguments& arguments :
         {Quiet(), Estimate(),
          Arguments{L"enumerate", L"--json", L"--data", Path(L"selection.xml"), L"--index", index}}) {
        const End end = Run(arguments);
        EXPECT_EQ(end.code, 3) << Utf8(arguments[0]);
        EXPECT_TRUE(HasNote(end, "includes nothing")) << Utf8(arguments[0]);
    }
}

TEST_F(LeftOut, AWatchOfASelectionWithARuleThatIsNoneEndsWithThree)
{
    WriteSelection(TreeItem() + Folder(L"no\\drive"));
    EXPECT_EQ(Run(Quiet()).code, 3);
}

TEST_F(LeftOut, NewRulesForAMisspelledPathAreNamedWithAndWithoutAWatch)
{
    WriteSelection(L"new.xml", Folder(Path(L"misspelled")));
    const End alone = Run(Add());
    EXPECT_EQ(alone.code, 3);
    EXPECT_EQ(alone.skips, (Skips{{Utf8(Path(L"misspelled\\")), "missing"}}));
    WriteSelection(L"new.xml", Folder(Path(L"another")));
    const auto watch = StartWatch({});
    const End asked = Run(Add());
    EXPECT_EQ(asked.code, 3);
    EXPECT_EQ(asked.skips, (Skips{{Utf8(Path(L"another\\")), "missing"}}));
    watch->Interrupt();
    EXPECT_EQ(watch->Finish(), 130);
}

TEST_F(LeftOut, RulesThatCannotBeReadAreNotGivenToAWatchAndNothingIsCalledQueued)
{
    const auto watch = StartWatch({});
    HostProcess host({L"add", L"--data", Path(L"selection.xml"), L"--index", index, L"--rules", Path(L"nosuch.xml")});
    EXPECT_EQ(host.Finish(), 2);
    ASSERT_EQ(host.OutputLines().size(), 1u);
    EXPECT_EQ(host.OutputLines()[0], "nothing was queued: the rules cannot be read");
    watch->Interrupt();
    EXPECT_EQ(watch->Finish(), 130);
}

TEST_F(LeftOut, AProfileThatTheSelectionDoesNotHaveIsWrongUsage)
{
    HostProcess host(Estimate({L"--profile", L"9"}));
    EXPECT_EQ(host.Finish(), 2);
    EXPECT_NE(OnlyError(host).value("message", "").find("has no profile 9; its profiles are 7"), std::string::npos);
    EXPECT_TRUE(host.Records().empty());
}

TEST_F(LeftOut, AReportIntoAMissingFolderIsRefusedBeforeTheScan)
{
    HostProcess host(Estimate({L"--report", Path(L"no such folder\\report.html")}));
    EXPECT_EQ(host.Finish(), 2);
    EXPECT_EQ(OnlyError(host).value("path", ""), Utf8(Path(L"no such folder\\report.html")));
    EXPECT_TRUE(host.Records().empty());
}

} // namespace
