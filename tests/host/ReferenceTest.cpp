// docs/orbwatch.md, which the program prints.
#include "tests/host/HostTest.h"
#include "tests/support/SourceTree.h"

#include <sstream>

namespace
{

using Reference = HostTest;

std::string Page()
{
    std::ifstream file(SourceTree() / "docs" / "orbwatch.md", std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

TEST_F(Reference, ThePageIsWhatTheProgramPrints)
{
    HostProcess host({L"reference"});
    ASSERT_EQ(host.Finish(), 0);
    std::string printed;
    for (const std::string& line : host.OutputLines())
        printed += line + "\n";
    EXPECT_TRUE(printed == Page()) << "docs/orbwatch.md is not what the program prints: run tools/reference";
}

TEST_F(Reference, EachOptionRecordAndCodeHasAMeaning)
{
    HostProcess host({L"reference"});
    ASSERT_EQ(host.Finish(), 0);
    std::size_t rows = 0;
    for (const std::string& line : host.OutputLines()) {
        rows += line.starts_with("| ") ? 1 : 0;
        EXPECT_FALSE(line.ends_with("|  |")) << line;
    }
    EXPECT_GT(rows, 80u);
}

} // namespace
