// The records of a watch for each file.
#include "tests/host/HostTest.h"

#include <regex>
#include <set>

namespace
{

using WatchRecords = HostTest;

std::set<std::string> KeysOf(const HostProcess::Json& object)
{
    std::set<std::string> keys;
    for (const auto& [key, value] : object.items())
        keys.insert(key);
    return keys;
}

bool IsTime(const HostProcess::Json& value)
{
    static const std::regex form(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(\.\d+)?Z)");
    return value.is_string() && std::regex_match(value.get<std::string>(), form);
}

bool Contains(const HostProcess::Json& list, const std::string& text)
{
    return std::find(list.begin(), list.end(), text) != list.end();
}

TEST_F(WatchRecords, EachRecordHasItsKeysAndTheNumbersCountFromOne)
{
    const auto host = StartWatch({L"--max-events", L"1"});
    const std::wstring path = Write(L"letter.txt", "Dear");
    ASSERT_EQ(host->Finish(), 0);
    const std::vector<Json> records = host->Records();
    ASSERT_EQ(records.size(), 3u);
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(records[i].at("seq"), i + 1);
        EXPECT_TRUE(IsTime(records[i].at("time")));
    }
    const Json& ready = records[0];
    EXPECT_EQ(KeysOf(ready), (std::set<std::string>{"type", "seq", "time", "roots"}));
    EXPECT_EQ(ready.at("type"), "ready");
    EXPECT_EQ(ready.at("roots"), Json::array({"c:\\"}));

    const Json& pending = records[1];
    EXPECT_EQ(KeysOf(pending),
              (std::set<std::string>{"type", "seq", "time", "path", "kind", "size", "modified", "created", "attributes",
                                     "id", "flags", "flagBits", "ruleText", "ruleNumbers", "ruleValue"}));
    EXPECT_EQ(pending.at("type"), "pending");
    EXPECT_EQ(pending.at("path"), Utf8(path));
    EXPECT_EQ(pending.at("kind"), "file");
    EXPECT_TRUE(pending.at("size").is_number_unsigned());
    EXPECT_TRUE(IsTime(pending.at("created")));
    EXPECT_TRUE(pending.at("attributes").is_number_unsigned());
    EXPECT_TRUE(std::regex_match(pending.at("id").get<std::string>(), std::regex("[0-9a-f]{16}")));
    EXPECT_TRUE(Contains(pending.at("flags"), "new"));
    EXPECT_TRUE(Contains(pending.at("flags"), "file"));
    EXPECT_EQ(pending.at("flagBits").get<unsigned>() & 0x12u, 0x12u);
    EXPECT_EQ(pending.at("ruleText"), "Tree");
    EXPECT_EQ(pending.at("ruleNumbers"), "7");
    EXPECT_TRUE(pending.at("ruleValue").is_number_unsigned());

    const Json& summary = records[2];
    EXPECT_EQ(KeysOf(summary), (std::set<std::string>{"type", "seq", "time", "handedOut", "pending", "exit"}));
    EXPECT_EQ(summary.at("handedOut"), 1);
    EXPECT_EQ(summary.at("exit"), 0);
}

TEST_F(WatchRecords, AFileThatWasMovedInHasItsSizeAndTimes)
{
    folder.WriteBytes(L"whole.txt", "four");
    const auto host = StartWatch({L"--max-events", L"1"});
    std::filesystem::rename(Path(L"whole.txt"), InTree(L"whole.txt"));
    ASSERT_EQ(host->Finish(), 0);
    const Json pending = host->WaitForPath(InTree(L"whole.txt"));
    EXPECT_EQ(pending.at("size"), 4);
    EXPECT_TRUE(IsTime(pending.at("modified")));
}

TEST_F(WatchRecords, FoldersNamesOfEveryScriptAndThoseThatWereThereBeforeAllCome)
{
    Write(L"old\\deep\\before.txt", "x");
    const auto host = StartWatch({});
    const std::wstring inside = Write(L"old\\deep\\after.txt", "x");
    const std::wstring named = Write(L"Grüße \u65E5\u672C \U0001F600\\\u0416.txt", "x");
    EXPECT_EQ(host->WaitForPath(inside).value("kind", ""), "file");
    EXPECT_EQ(host->WaitForPath(named).value("kind", ""), "file");
    const Json directory = host->WaitForPath(named.substr(0, named.rfind(L'\\') + 1));
    EXPECT_EQ(directory.value("kind", ""), "directory");
    EXPECT_TRUE(Contains(directory.at("flags"), "directory"));
    host->Interrupt();
    EXPECT_EQ(host->Finish(), 130);
}

TEST_F(WatchRecords, WithoutJsonALineForPeopleTellsPathKindSizeNewAndRule)
{
    folder.WriteBytes(L"whole.txt", "four");
    HostProcess host({L"watch", L"--data", Path(L"selection.xml"), L"--index", index});
    ASSERT_TRUE(host.WaitForText("watching c:\\"));
    std::filesystem::rename(Path(L"whole.txt"), InTree(L"whole.txt"));
    EXPECT_TRUE(host.WaitForText("new      file    " + Utf8(InTree(L"whole.txt")) + "  4 bytes  [Tree]"));
    host.Interrupt();
    EXPECT_EQ(host.Finish(), 130);
    EXPECT_EQ(host.OutputLines().back(), "handed out 1, still pending 0");
}

TEST_F(WatchRecords, WhatIsThereAlreadyComesOnlyWhenAskedFor)
{
    const std::wstring there = Write(L"d\\there.txt", "x");
    {
        HostProcess host(Watch({L"--until-quiet", L"0.5"}));
        EXPECT_EQ(host.Finish(), 0);
        EXPECT_TRUE(OfType(host.Records(), "pending").empty());
    }
    HostProcess host(Watch({L"--enumerate", L"--record", L"--until-quiet", L"0.5"}));
    EXPECT_EQ(host.Finish(), 0);
    std::set<std::string> came;
    for (const Json& record : OfType(host.Records(), "pending"))
        EXPECT_TRUE(came.insert(record.at("path").get<std::string>()).second) << record;
    EXPECT_EQ(came, (std::set<std::string>{Utf8(InTree(L"")), Utf8(InTree(L"d\\")), Utf8(there)}));
}

} // namespace
