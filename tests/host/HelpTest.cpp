// The program's help.
#include "orbwatcher4/OrbWatcherC.h"
#include "tests/host/HostTest.h"

#include <algorithm>

namespace
{

class Help : public HostTest
{
protected:
    // Returns its standard output; standard error must be empty.
    static std::vector<std::string> LinesOf(const Arguments& arguments)
    {
        HostProcess host(arguments);
        EXPECT_EQ(host.Finish(), 0);
        EXPECT_TRUE(host.ErrorLines().empty());
        return host.OutputLines();
    }
    static std::vector<std::wstring> Commands();
    static void ExpectExampleAndCodes(const Arguments& arguments)
    {
        const std::vector<std::string> lines = LinesOf(arguments);
        const auto example = std::find(lines.begin(), lines.end(), "Example:");
        const auto codes = std::find(example, lines.end(), "Exit codes:");
        ASSERT_NE(codes, lines.end()) << Utf8(arguments.front());
        EXPECT_NE(std::next(example)->find("orbwatch "), std::string::npos) << *std::next(example);
        EXPECT_TRUE(std::next(codes)->starts_with("  ")) << *std::next(codes);
    }
};

TEST_F(Help, TheVersionIsThatOfTheLibrary)
{
    const std::uint32_t version = OrbVersion();
    const std::string expected = "orbwatch " + std::to_string(version >> 16) + "." +
                                 std::to_string(version >> 8 & 0xff) + "." + std::to_string(version & 0xff);
    EXPECT_EQ(LinesOf({L"--version"}), std::vector<std::string>{expected});
}

// Returns the names that --help lists below "Subcommands:".
std::vector<std::wstring> Help::Commands()
{
    const std::vector<std::string> lines = LinesOf({L"--help"});
    std::vector<std::wstring> commands;
    auto line = std::find(lines.begin(), lines.end(), "Subcommands:");
    for (line += line == lines.end() ? 0 : 1; line != lines.end() && line->starts_with("  "); ++line)
        commands.emplace_back(line->begin() + 2, line->begin() + static_cast<std::ptrdiff_t>(line->find(' ', 2)));
    EXPECT_GE(commands.size(), 8u);
    return commands;
}

TEST_F(Help, TheProgramAndEachCommandShowAnExampleAndTheirExitCodes)
{
    ExpectExampleAndCodes({L"--help"});
    for (const std::wstring& command : Commands())
        ExpectExampleAndCodes({command, L"--help"});
}

TEST_F(Help, EachRecordThatACommandPrintsIsNamedInItsHelp)
{
    Write(L"a.txt", "x");
    WriteSelection(TreeItem());
    const std::wstring data = Path(L"selection.xml"), rules = WriteSelection(L"new.xml", TreeItem());
    const std::vector<Arguments> commands{
        {L"init", Path(L"sample")},
        {L"doctor", L"--data", data, L"--index", index},
        {L"estimate", L"--data", data},
        {L"explain", L"--data", data, InTree(L"a.txt")},
        {L"enumerate", L"--data", data, L"--index", index},
        {L"watch", L"--data", data, L"--index", index, L"--enumerate", L"--until-quiet", L"1"},
        {L"watch", L"--data", data, L"--index", index, L"--collect", L"--enumerate", L"--until-quiet", L"1"},
        {L"export", L"--data", data, L"--index", index, L"--to", Path(L"list.xml")},
        {L"add", L"--data", data, L"--index", index, L"--rules", rules},
        {L"overlay"},
    };
    for (const Arguments& command : commands) {
        const std::vector<std::string> lines = LinesOf({command.front(), L"--help"});
        HostProcess host(Joined({command.front(), L"--json"}, Arguments(command.begin() + 1, command.end())));
        if (command.front() == L"overlay") { // which ends by nothing else
            host.WaitForType("ready");
            host.Interrupt();
        }
        host.Finish();
        EXPECT_FALSE(host.Records().empty()) << Utf8(command.front());
        for (const Json& record : host.Records()) {
            const std::string named = "  " + record.at("type").get<std::string>() + " ";
            EXPECT_TRUE(std::any_of(lines.begin(), lines.end(),
                                    [&](const std::string& line) { return line.starts_with(named); }))
                << Utf8(command.front()) << record.dump();
        }
    }
}

} // namespace
