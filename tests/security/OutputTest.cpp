// Names that control a terminal, or look like other names.
#include "companions/logging/OrbLogging.h"
#include "tests/host/HostTest.h"

#include <string>

namespace
{

// C1 controls (a terminal takes U+009B for the beginning of a command), and marks that turn the direction of writing.
constexpr std::wstring_view HostileUnits = L"\x7F\x85\x9B\u061C\u200E\u200F\u2028\u2029\u202A\u202E\u2066\u2069";
const std::wstring HostileName = L"C:\\docs\\" + std::wstring(HostileUnits) + L"fdp.exe";

class Output : public HostTest
{
protected:
    static void ExpectHarmless(const std::string& output)
    {
        for (const wchar_t unit : HostileUnits)
            EXPECT_EQ(output.find(Utf8(std::wstring(1, unit))), std::string::npos)
                << "U+" << std::hex << int(unit) << " in " << output;
    }
    Arguments Explain(const std::wstring& option) const
    {
        return {L"explain", L"--data", Path(L"selection.xml"), option, HostileName};
    }
};

TEST_F(Output, JsonLinesEscapeWhatSteersATerminal)
{
    HostProcess host(Explain(L"--json"));
    EXPECT_EQ(host.Finish(), 0);
    ASSERT_FALSE(host.OutputLines().empty());
    const std::string line = host.OutputLines().at(0);
    ExpectHarmless(line);
    EXPECT_EQ(Json::parse(line).at("path"), Utf8(HostileName)) << "the program that reads it gets the name";
}

TEST_F(Output, LinesForPeopleReplaceWhatSteersATerminal)
{
    HostProcess host(Explain(L"--"));
    EXPECT_EQ(host.Finish(), 0);
    ASSERT_FALSE(host.OutputLines().empty());
    ExpectHarmless(host.OutputLines().at(0));
}

TEST_F(Output, TheLogReplacesWhatSteersATerminal)
{
    g_OrbLog.WriteLog(2, L"", 0, L"%s", HostileName.c_str());
    g_OrbLog.Close();
    const std::string log = folder.ReadBytes(L"data\\OrbWatcher.log");
    EXPECT_NE(log.find("fdp.exe"), std::string::npos);
    ExpectHarmless(log);
}

} // namespace
