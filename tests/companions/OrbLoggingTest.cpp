#include "tests/companions/CompanionTest.h"

#include "support/Handle.h"
#include "support/WithoutThreadToken.h"
#include "tests/support/ImportedCall.h"

#include <algorithm>
#include <regex>
#include <thread>

namespace
{

class OrbLogging : public CompanionTest
{
protected:
    std::string LogText(const wchar_t* name = L"data\\OrbWatcher.log") const { return temp.ReadBytes(name); }
    static std::size_t LinesIn(const std::string& text)
    {
        return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    }
};

TEST_F(OrbLogging, ALineCarriesTimeProcessThreadLevelAndText)
{
    g_OrbLog.Log(L"%s is %I64d", L"size", -5000000000LL);
    std::string expected = R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z \[)";
    expected += std::to_string(GetCurrentProcessId()) + ":" + std::to_string(GetCurrentThreadId());
    expected += R"(\] \[info\] size is -5000000000\r\n)";
    EXPECT_TRUE(std::regex_match(LogText(), std::regex(expected))) << LogText();
}

TEST_F(OrbLogging, TheTimeIsUtc)
{
    SYSTEMTIME before;
    GetSystemTime(&before);
    g_OrbLog.Log(L"now");
    SYSTEMTIME after;
    GetSystemTime(&after);
    const auto hour = [](const SYSTEMTIME& time) {
        char text[32];
        std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:", time.wYear, time.wMonth, time.wDay, time.wHour);
        return std::string(text);
    };
    const std::string line = LogText();
    EXPECT_TRUE(line.starts_with(hour(before)) || line.starts_with(hour(after))) << line;
}

TEST_F(OrbLogging, SeverityDecidesTheLevelAndTheSourceIsNamed)
{
    const LogCapture capture;
    g_OrbLog.WriteLog(1, L"OrbWatcher", 17, L"stopped");
    g_OrbLog.WriteLog(2, L"OrbWatcher", 2698, L"Failed to open %s", L"it");
    const std::string text = LogText();
    EXPECT_NE(text.find("[warning] OrbWatcher:17 stopped"), std::string::npos) << text;
    EXPECT_NE(text.find("[error] OrbWatcher:2698 Failed to open it"), std::string::npos) << text;
    EXPECT_EQ(capture.levels, (std::vector{LogLevel::Abort, LogLevel::Error}));
}

TEST_F(OrbLogging, TextIsUtf8AndALoneSurrogateIsReplaced)
{
    g_OrbLog.Log(L"\u00e4\xd83d\xde00 \xd800.");
    EXPECT_NE(LogText().find("\xc3\xa4\xf0\x9f\x98\x80 \xef\xbf\xbd."), std::string::npos) << LogText();
}

TEST_F(OrbLogging, ATextWithLineBreaksStaysOneLine)
{
    g_OrbLog.Log(L"%s", L"a\r\nb\nc");
    EXPECT_EQ(LinesIn(LogText()), 1u);
    EXPECT_NE(LogText().find("a  b c"), std::string::npos);
}

TEST_F(OrbLogging, ALongLineIsWrittenWhole)
{
    g_OrbLog.Log(L"%s", std::wstring(100000, L'x').c_str());
    EXPECT_NE(LogText().find(std::string(100000, 'x')), std::string::npos);
}

TEST_F(OrbLogging, AFunctionGuardWritesEntryAndEnd)
{
    const LogCapture capture;
    {
        const COrbFuncLog guard(L"COrbWatcher::XMLMerge");
        g_OrbLog.Log(L"inside");
    }
    EXPECT_EQ(capture.texts,
              (std::vector<std::wstring>{L"COrbWatcher::XMLMerge: begin", L"inside", L"COrbWatcher::XMLMerge: end"}));
}

TEST_F(OrbLogging, ANewDataFolderGetsTheNextLine)
{
    g_OrbLog.Log(L"first");
    SetEnvironmentVariableW(L"ORB_DATA_FOLDER", temp.Path(L"\x4f8b\xfc\\deep"));
    g_OrbLog.Log(L"second");
    EXPECT_EQ(LinesIn(LogText()), 1u);
    EXPECT_NE(LogText(L"\x4f8b\xfc\\deep\\OrbWatcher.log").find("second"), std::string::npos);
}

TEST_F(OrbLogging, AppendsToWhatIsThere)
{
    temp.WriteBytes(L"data\\OrbWatcher.log", "before\r\n");
    g_OrbLog.Log(L"after");
    EXPECT_TRUE(LogText().starts_with("before\r\n"));
    EXPECT_EQ(LinesIn(LogText()), 2u);
}

TEST_F(OrbLogging, AFullFileIsRenamedAndTheOldestGoes)
{
    COrbLog log;
    log.SetFileLimits(400, 2);
    for (int i = 0; i < 12; ++i)
        log.Log(L"line %03d %s", i, std::wstring(120, L'.').c_str());
    EXPECT_NE(LogText().find("line 011"), std::string::npos);
    const std::string all = LogText(L"data\\OrbWatcher.2.log") + LogText(L"data\\OrbWatcher.1.log") + LogText();
    EXPECT_EQ(LinesIn(all), 6u); // two lines fit in each
    for (int i = 6; i < 12; ++i)
        EXPECT_NE(all.find("line 0" + std::string(i < 10 ? "0" : "") + std::to_string(i)), std::string::npos) << i;
    EXPECT_LE(LogText(L"data\\OrbWatcher.1.log").size(), 400u);
    EXPECT_FALSE(Exists(L"data\\OrbWatcher.3.log"));
}

// Two objects stand in for two processes: each has a handle of its own.
TEST_F(OrbLogging, WhoeverSharesTheFileFollowsWhenItIsRenamed)
{
    COrbLog first;
    COrbLog second;
    first.SetFileLimits(400, 3);
    second.SetFileLimits(400, 3);
    const std::wstring filler(100, L'.');
    second.Log(L"one %s", filler.c_str());
    first.Log(L"two %s", filler.c_str());
    first.Log(L"three %s", filler.c_str()); // no room: renames the file, which the second one still has open
    second.Log(L"four %s", filler.c_str());
    EXPECT_EQ(LinesIn(LogText(L"data\\OrbWatcher.1.log")), 2u);
    EXPECT_EQ(LinesIn(LogText()), 2u);
    EXPECT_NE(LogText().find("three"), std::string::npos);
    EXPECT_NE(LogText().find("four"), std::string::npos);
}

TEST_F(OrbLogging, AFolderThatCannotBeWrittenIsSaidOnceAndTheLinesReachTheSinks)
{
    temp.WriteBytes(L"plain", "a file where the folder should be");
    UseDataFolder(temp.Path(L"plain\\data"));
    const LogCapture capture;
    g_OrbLog.Log(L"one");
    g_OrbLog.Log(L"two");
    ASSERT_EQ(capture.texts.size(), 3u);
    EXPECT_EQ(capture.texts[0], L"one");
    EXPECT_TRUE(capture.Has(L"cannot be written"));
    EXPECT_EQ(capture.texts[2], L"two");
    EXPECT_EQ(capture.levels[1], LogLevel::Error);
}

BOOL WINAPI WriteToAFullDisk(HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*)
{
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

TEST_F(OrbLogging, AFullDiskIsSaidOnceAndTheLinesReachTheSinks)
{
    const ImportedCall writing(L"OrbLogging.dll", "WriteFile", WriteToAFullDisk);
    const LogCapture capture;
    g_OrbLog.Log(L"first");
    g_OrbLog.Log(L"second");
    ASSERT_EQ(capture.texts.size(), 3u);
    EXPECT_TRUE(capture.Has(L"OrbWatcher.log cannot be written: error 112."));
    EXPECT_EQ(capture.texts.back(), L"second");
}

TEST_F(OrbLogging, AFolderThatCanBeWrittenAgainGetsLines)
{
    temp.WriteBytes(L"data", "a file where the folder should be");
    g_OrbLog.Log(L"lost");
    ASSERT_TRUE(DeleteFileW(temp.Path(L"data")));
    g_OrbLog.Close();
    g_OrbLog.Log(L"kept");
    EXPECT_NE(LogText().find("kept"), std::string::npos);
}

TEST_F(OrbLogging, ARemovedSinkIsNotCalledAnyMore)
{
    int calls = 0;
    const std::uint64_t token = g_OrbLog.AddSink([&](const LogLine&) { ++calls; });
    g_OrbLog.Log(L"one");
    g_OrbLog.RemoveSink(token);
    g_OrbLog.Log(L"two");
    EXPECT_EQ(calls, 1);
}

TEST_F(OrbLogging, ASinkThatThrowsOrLogsDoesNotStopTheOthers)
{
    const std::uint64_t throwing = g_OrbLog.AddSink([](const LogLine&) { throw std::runtime_error("sink"); });
    const std::uint64_t logging = g_OrbLog.AddSink([](const LogLine&) { g_OrbLog.Log(L"from the sink"); });
    {
        const LogCapture capture;
        g_OrbLog.Log(L"one");
        EXPECT_EQ(capture.texts, std::vector<std::wstring>{L"one"});
    }
    g_OrbLog.RemoveSink(throwing);
    g_OrbLog.RemoveSink(logging);
    EXPECT_EQ(LinesIn(LogText()), 1u);
}

TEST_F(OrbLogging, LoggingKeepsTheThreadsLastError)
{
    temp.WriteBytes(L"plain", "");
    UseDataFolder(temp.Path(L"plain\\data"));
    SetLastError(1234);
    g_OrbLog.Log(L"fails to reach the file");
    EXPECT_EQ(GetLastError(), 1234u);
}

TEST_F(OrbLogging, LinesOfManyThreadsAreWholeAndComplete)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 50; ++i)
                g_OrbLog.Log(L"thread %d line %d end", t, i);
        });
    for (std::thread& thread : threads)
        thread.join();
    const std::string text = LogText();
    EXPECT_EQ(LinesIn(text), 200u);
    for (int t = 0; t < 4; ++t)
        for (int i = 0; i < 50; ++i) {
            const std::string line = "thread " + std::to_string(t) + " line " + std::to_string(i) + " end\r\n";
            EXPECT_NE(text.find(line), std::string::npos) << line;
        }
}

TEST_F(OrbLogging, TheFileCanBeMovedWhileItIsOpen)
{
    g_OrbLog.Log(L"one");
    ASSERT_TRUE(MoveFileW(temp.Path(L"data\\OrbWatcher.log"), temp.Path(L"data\\kept.log")));
    g_OrbLog.Close();
    g_OrbLog.Log(L"two");
    EXPECT_EQ(LinesIn(LogText()), 1u);
    EXPECT_EQ(LinesIn(LogText(L"data\\kept.log")), 1u);
}

// Counts the formatting, the questions for the file's size and the writes.
int g_formatted, g_asked, g_written;

int CountedFormat(wchar_t* text, std::size_t units, const wchar_t* format, va_list arguments)
{
    ++g_formatted;
    return _vsnwprintf(text, units, format, arguments);
}
BOOL WINAPI CountedSize(HANDLE file, LARGE_INTEGER* size)
{
    ++g_asked;
    return GetFileSizeEx(file, size);
}
BOOL WINAPI CountedWrite(HANDLE file, const void* bytes, DWORD size, DWORD* written, OVERLAPPED* overlapped)
{
    ++g_written;
    return WriteFile(file, bytes, size, written, overlapped);
}

class LoggingCost : public OrbLogging
{
protected:
    LoggingCost() { g_formatted = g_asked = g_written = 0; }

    COrbLog log;

private:
    const ImportedCall m_format{L"OrbLogging.dll", "_vsnwprintf", CountedFormat};
    const ImportedCall m_size{L"OrbLogging.dll", "GetFileSizeEx", CountedSize};
    const ImportedCall m_write{L"OrbLogging.dll", "WriteFile", CountedWrite};
};

TEST_F(LoggingCost, ALineIsFormattedOnceAndWrittenOnce)
{
    log.Log(L"The first line opens the file");
    g_formatted = g_asked = g_written = 0;
    for (int i = 0; i < 100; ++i)
        log.Log(L"Adding ...  %s", L"C:\\folder\\file.txt");
    EXPECT_EQ(g_formatted, 100);
    EXPECT_EQ(g_written, 100);
    EXPECT_LE(g_asked, 1); // for its room
}

TEST_F(LoggingCost, ALineThatIsNotWantedIsNotFormatted)
{
    log.SetLevel(LogLevel::Abort);
    const std::uint64_t failures = log.AddSink([](const LogLine&) {}, LogLevel::Error);
    log.Log(L"Adding ...  %s", L"C:\\folder\\file.txt");
    EXPECT_EQ(g_formatted, 0);
    const std::uint64_t everything = log.AddSink([](const LogLine&) {});
    log.Log(L"%d", 1);
    EXPECT_EQ(g_formatted, 1);
    log.RemoveSink(everything);
    log.RemoveSink(failures);
    log.Log(L"%d", 2);
    EXPECT_EQ(g_formatted, 1);
    EXPECT_EQ(g_written, 0);
}

TEST_F(OrbLogging, ASinkReceivesTheLinesOfItsLevel)
{
    std::vector<std::wstring> texts;
    const std::uint64_t token =
        g_OrbLog.AddSink([&](const LogLine& line) { texts.push_back(line.text); }, LogLevel::Abort);
    g_OrbLog.Log(L"information");
    g_OrbLog.WriteLog(1, L"OrbWatcher", 1, L"aborted");
    g_OrbLog.WriteLog(2, L"OrbWatcher", 2, L"failed");
    g_OrbLog.RemoveSink(token);
    EXPECT_EQ(texts, (std::vector<std::wstring>{L"aborted", L"failed"}));
}

bool Impersonates()
{
    HANDLE token = nullptr;
    const KernelHandle opened(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token) ? token : nullptr);
    return static_cast<bool>(opened);
}

TEST_F(OrbLogging, AThreadsTokenIsTakenOffForAScopeAndPutBack)
{
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    {
        const WithoutThreadToken asProcess;
        EXPECT_FALSE(Impersonates());
        const WithoutThreadToken again;
        SetLastError(1234);
    }
    EXPECT_EQ(GetLastError(), 1234u);
    EXPECT_TRUE(Impersonates());
    RevertToSelf();
    {
        const WithoutThreadToken asProcess;
    }
    EXPECT_FALSE(Impersonates());
}

// Counts the log's calls of the system, and those of them under another account.
struct Calls {
    int all = 0;
    int impersonating = 0;

    void Count()
    {
        ++all;
        impersonating += Impersonates();
    }
};
Calls g_opened;
Calls g_renamed;

HANDLE WINAPI CountedOpen(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security, DWORD creation,
                          DWORD flags, HANDLE pattern)
{
    g_opened.Count();
    return CreateFileW(path, access, share, security, creation, flags, pattern);
}

BOOL WINAPI CountedRename(const wchar_t* from, const wchar_t* to, DWORD flags)
{
    g_renamed.Count();
    return MoveFileExW(from, to, flags);
}

TEST_F(OrbLogging, AThreadThatImpersonatesOpensAndRotatesTheFileAsTheProcess)
{
    g_opened = g_renamed = {};
    const ImportedCall opening(L"OrbLogging.dll", "CreateFileW", CountedOpen);
    const ImportedCall renaming(L"OrbLogging.dll", "MoveFileExW", CountedRename);
    COrbLog log;
    log.SetFileLimits(100, 1);
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    log.Log(L"%s", std::wstring(90, L'.').c_str());
    log.Log(L"in a new file");
    EXPECT_TRUE(Impersonates());
    RevertToSelf();
    EXPECT_EQ(LinesIn(LogText()), 1u);
    EXPECT_GE(g_opened.all, 2);
    EXPECT_EQ(g_opened.impersonating, 0);
    EXPECT_EQ(g_renamed.all, 1);
    EXPECT_EQ(g_renamed.impersonating, 0);
}

} // namespace
