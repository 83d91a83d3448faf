// Where colours are used.
#include "host/records/FileRecords.h"
#include "host/records/RecordWriter.h"
#include "tests/host/HostTest.h"

#include <utility>

namespace
{

// A variable of the environment for the time of a test.
class Variable
{
public:
    Variable(const wchar_t* name, const wchar_t* value) : m_name(name)
    {
        wchar_t before[256] = {};
        m_wasSet = GetEnvironmentVariableW(name, before, 256) > 0;
        m_before = before;
        SetEnvironmentVariableW(name, value);
    }
    ~Variable() { SetEnvironmentVariableW(m_name, m_wasSet ? m_before.c_str() : nullptr); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    const wchar_t* const m_name;
    std::wstring m_before;
    bool m_wasSet;
};

class ColoursOfRecords : public HostTest
{
protected:
    // Returns the output of a process whose streams are of this kind.
    std::pair<std::string, std::string> Printed(bool terminal, bool json)
    {
        const Closed data(Path(L"data.txt")), errors(Path(L"errors.txt"));
        RecordWriter writer({data.file, terminal, terminal}, {errors.file, terminal, terminal}, json);
        writer.Write(CreatedRecord{L"C:\\a"});
        writer.Error(L"wrong", L"C:\\b");
        writer.Note(L"odd");
        EnumerationProgress progress;
        progress.folder = L"C:\\";
        writer.Progress(progress, 1);
        return {folder.ReadBytes(L"data.txt"), folder.ReadBytes(L"errors.txt")};
    }

    const Variable noColour{L"NO_COLOR", nullptr};
    const Variable terminalName{L"TERM", L"xterm"};

private:
    struct Closed {
        explicit Closed(const std::wstring& path) : file(_wfopen(path.c_str(), L"wb")) {}
        ~Closed() { std::fclose(file); }
        FILE* const file;
    };
};

TEST_F(ColoursOfRecords, OnATerminalTellKindsErrorsNotesAndProgressApart)
{
    const auto [data, errors] = Printed(true, false);
    EXPECT_EQ(data, "\x1b[32mcreated\x1b[0m C:\\a\n");
    EXPECT_TRUE(
        errors.starts_with("orbwatch: \x1b[31mC:\\b: wrong\x1b[0m\norbwatch: \x1b[33modd\x1b[0m\n\x1b[2m0 files"))
        << errors;
}

TEST_F(ColoursOfRecords, AreNotUsedWhereThereIsNoTerminal)
{
    const auto [data, errors] = Printed(false, false);
    EXPECT_EQ(data, "created C:\\a\n");
    EXPECT_EQ(errors, "orbwatch: C:\\b: wrong\norbwatch: odd\n");
}

TEST_F(ColoursOfRecords, AreNotUsedWhereTheEnvironmentWantsNone)
{
    const std::pair<const wchar_t*, const wchar_t*> wants[] = {
        {L"NO_COLOR", L"1"}, {L"NO_COLOR", L"a longer text"}, {L"TERM", L"dumb"}};
    for (const auto& [name, value] : wants) {
        const Variable variable(name, value);
        const auto [data, errors] = Printed(true, false);
        EXPECT_EQ((data + errors).find('\x1b'), std::string::npos);
    }
}

TEST_F(ColoursOfRecords, AreNeverInJson)
{
    const auto [data, errors] = Printed(true, true);
    EXPECT_EQ(data.find('\x1b'), std::string::npos);
    // The progress is no record.
    EXPECT_EQ(errors.substr(0, errors.rfind('\n')).find('\x1b'), std::string::npos);
}

TEST_F(ColoursOfRecords, AreNotInWhatIsRedirected)
{
    HostProcess good({L"init", Path(L"sample")});
    HostProcess bad({L"init", Path(L"selection.xml")});
    EXPECT_EQ(good.Finish(), 0);
    EXPECT_EQ(bad.Finish(), 1);
    for (const std::vector<std::string>& lines : {good.OutputLines(), bad.ErrorLines()}) {
        EXPECT_FALSE(lines.empty());
        for (const std::string& line : lines)
            EXPECT_EQ(line.find('\x1b'), std::string::npos) << line;
    }
}

} // namespace
