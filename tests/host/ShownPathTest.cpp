// Names and paths as people see them.
#include "host/ShownPath.h"
#include "support/HarmlessText.h"
#include "tests/host/HostTest.h"

#include <shellapi.h>

namespace
{

TEST(ShownPathText, APathThatNoShellTakesApartStaysAsItIs)
{
    for (const wchar_t* path :
         {L"C:\\docs\\letter.txt", L"\\\\server\\share\\a_b-c~1", L"C:\\Gr\u00FC\u00DFe\\\u65E5.txt"})
        EXPECT_EQ(ShownPath(path), path);
}

TEST(ShownPathText, APathWithBlanksOrSignsOfAShellIsQuoted)
{
    EXPECT_EQ(ShownPath(L"C:\\a letter.txt"), L"\"C:\\a letter.txt\"");
    for (const wchar_t sign : std::wstring_view(L"&()[]{}^=;!'+,`$%@#<>|*? \u00A0\u3000\u2019"))
        EXPECT_EQ(ShownPath(std::wstring(L"C:\\a") + sign + L"b"), std::wstring(L"\"C:\\a") + sign + L"b\"");
    EXPECT_EQ(ShownPath(L"-"), L"\"-\"");
    EXPECT_EQ(ShownPath(L""), L"\"\"");
}

TEST(ShownPathText, AQuotedPathIsReadBackAsItWas)
{
    for (const wchar_t* path :
         {L"C:\\a folder\\", L"C:\\a b\\\\", L"/a \"quoted\" name", L"/ends in \\\"", L"C:\\x y"}) {
        int count = 0;
        wchar_t** words = CommandLineToArgvW((L"orbwatch " + ShownPath(path)).c_str(), &count);
        ASSERT_EQ(count, 2);
        EXPECT_STREQ(words[1], path);
        LocalFree(words);
    }
}

TEST(HarmlessTexts, WhatWouldBreakTheLineOrTheTerminalIsReplaced)
{
    for (const wchar_t unit :
         {L'\n', L'\r', L'\t', L'\x1b', L'\x7f', L'\x9b', L'\u2028', L'\u202e', L'\xd800', L'\xdfff'})
        EXPECT_EQ(HarmlessText(std::wstring(L"a") + unit + L"b"), L"a\uFFFDb") << int(unit);
    EXPECT_EQ(HarmlessText(L"\U0001F600"), L"\U0001F600");
    EXPECT_EQ(HarmlessText(L"\xd83d"), L"\uFFFD");
}

class ShownPaths : public HostTest
{
protected:
    Arguments Plain(const Arguments& more) const
    {
        return Joined({L"enumerate", L"--data", Path(L"selection.xml"), L"--index", index}, more);
    }
    static bool HasLine(const std::vector<std::string>& lines, const std::string& line)
    {
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }
};

TEST_F(ShownPaths, AreQuotedInRecordsAndFailures)
{
    const std::wstring path = Write(L"a letter.txt", "Dear");
    HostProcess host(Plain({}));
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_TRUE(HasLine(host.OutputLines(), "new      file    \"" + Utf8(path) + "\"  4 bytes  [Tree]"));
    HostProcess failing({L"init", path});
    EXPECT_EQ(failing.Finish(), 1);
    EXPECT_TRUE(failing.ErrorLines().at(0).starts_with("orbwatch: \"" + Utf8(path) + "\": "));
}

TEST_F(ShownPaths, KeepTheirLineWhateverTheNameHolds)
{
    HostProcess host({L"explain", L"--data", Path(L"selection.xml"), L"C:\\a\nb\x1b[2J\xd800.txt"});
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_EQ(host.OutputLines().at(0), "\"C:\\a\uFFFDb\uFFFD[2J\uFFFD.txt\": NotIncluded");
}

} // namespace
