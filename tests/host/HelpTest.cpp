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
};

TEST_F(Help, TheVersionIsThatOfTheLibrary)
{
    const std::uint32_t version = OrbVersion();
    const std::string expected = "orbwatch " + std::to_string(version >> 16) + "." +
                                 std::to_string(version >> 8 & 0xff) + "." + std::to_string(version & 0xff);
    EXPECT_EQ(LinesOf({L"--version"}), std::vector<std::string>{expected});
}

TEST_F(Help, EachCommandShowsAnExample)
{
    for (const wchar_t* command : {L"watch", L"enumerate", L"explain", L"init"}) {
        const std::vector<std::string> lines = LinesOf({command, L"--help"});
        EXPECT_NE(std::find(lines.begin(), lines.end(), "Example:"), lines.end());
    }
}

} // namespace
