// What the program says of itself.
#include "orbwatcher4/OrbWatcherC.h"
#include "tests/host/HostTest.h"

#include <algorithm>

namespace
{

class Help : public HostTest
{
protected:
    // What it prints to standard output, with nothing beside it.
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

// What --help lists below "Subcommands:".
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
    const std::vector<std::string> lines = LinesOf({L"init", L"--help"});
    HostProcess host({L"init", Path(L"sample"), L"--json"});
    ASSERT_EQ(host.Finish(), 0);
    const std::string type = host.Records().at(0).at("type");
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(),
                            [&](const std::string& line) { return line.starts_with("  " + type + " "); }));
}

} // namespace
