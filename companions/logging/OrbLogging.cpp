#include "companions/logging/OrbLogging.h"

#include "companions/logging/LogFile.h"
#include "companions/settings/DataFolder.h"
#include "support/HarmlessText.h"
#include "support/RankedSection.h"
#include "support/TrustedFile.h"
#include "support/Utf8Text.h"

#include <atomic>
#include <cstdarg>
#include <cwchar>
#include <map>
#include <string>

namespace
{

constexpr ULONGLONG RetryAfterMs = 5000;

// Formats most lines once. A longer one is formatted twice: to count its units, and to write them.
std::wstring FormatText(const wchar_t* format, va_list arguments)
{
    if (!format)
        return {};
    wchar_t shortText[512];
    va_list counted;
    va_copy(counted, arguments);
    const int written = _vsnwprintf(shortText, std::size(shortText), format, counted);
    va_end(counted);
    if (written >= 0)
        return {shortText, static_cast<std::size_t>(written)};
    va_copy(counted, arguments);
    const int length = _vscwprintf(format, counted);
    va_end(counted);
    if (length < 0)
        return format;
    std::wstring text(static_cast<std::size_t>(length) + 1, L'\0');
    _vsnwprintf(text.data(), text.size(), format, arguments);
    text.resize(static_cast<std::size_t>(length));
    return text;
}

// Makes one line of the file from one entry. The line is harmless to a terminal that shows it, whatever a file name
// contains.
std::string ToUtf8Line(std::wstring text)
{
    for (wchar_t& unit : text)
        if (unit == L'\r' || unit == L'\n')
            unit = L' ';
    return ToUtf8(HarmlessText(text));
}

spdlog::level::level_enum SpdlogLevel(LogLevel level)
{
    switch (level) {
    case LogLevel::Info:
        return spdlog::level::info;
    case LogLevel::Abort:
        return spdlog::level::warn;
    case LogLevel::Error:
        break;
    }
    return spdlog::level::err;
}

class WritingScope
{
public:
    explicit WritingScope(bool& writing) : m_writing(writing) { m_writing = true; }
    ~WritingScope() { m_writing = false; }
    WritingScope(const WritingScope&) = delete;
    WritingScope& operator=(const WritingScope&) = delete;

private:
    bool& m_writing;
};

} // namespace

struct COrbLog::State {
    RankedSection section{LockRank::Log, L"log"};
    // The section guards all members below.
    struct LeveledSink {
        Sink call;
        LogLevel least;
    };
    std::map<std::uint64_t, LeveledSink> sinks;
    std::uint64_t lastToken = 0;
    LogFile file;
    LogLevel least = LogLevel::Info;
    std::wstring named; // ORB_DATA_FOLDER when the file's folder was set
    bool started = false;
    bool broken = false; // the last attempt at the file failed
    ULONGLONG triedAt = 0;
    bool writing = false;
    // Neither the file nor a sink wants the lines below this level. Read without the section.
    std::atomic<LogLevel> leastWanted = LogLevel::Info;

    void FindLeastWanted();
    void Write(LogLevel level, const wchar_t* source, int sourceLine, const wchar_t* format,
               va_list arguments) noexcept;
    void ToSinks(const LogLine& line);
    void ToFile(const LogLine& line);
    void FollowDataFolder();
};

void COrbLog::State::FindLeastWanted()
{
    LogLevel wanted = least;
    for (const auto& [token, sink] : sinks)
        wanted = std::min(wanted, sink.least);
    leastWanted = wanted;
}

// Keeps the thread's last error: callers log between a failed call and the question for its error.
void COrbLog::State::Write(LogLevel level, const wchar_t* source, int sourceLine, const wchar_t* format,
                           va_list arguments) noexcept
{
    if (level < leastWanted)
        return;
    const DWORD lastError = GetLastError();
    try {
        const std::wstring text = FormatText(format, arguments);
        const CSingleLock lock(section);
        // Without this, a sink that logs would call itself without end.
        if (!writing) {
            const WritingScope scope(writing);
            const LogLine line{level, source, sourceLine, text.c_str()};
            ToSinks(line);
            if (level >= least)
                ToFile(line);
        }
    } catch (...) {
        // There is no memory for the line: the work goes on without it.
    }
    SetLastError(lastError);
}

void COrbLog::State::ToSinks(const LogLine& line)
{
    for (const auto& [token, sink] : sinks) {
        if (line.level < sink.least)
            continue;
        try {
            sink.call(line);
        } catch (...) {
            // The other sinks and the file still receive the line.
        }
    }
}

void COrbLog::State::ToFile(const LogLine& line)
{
    FollowDataFolder();
    if (broken && GetTickCount64() - triedAt < RetryAfterMs)
        return;
    std::wstring text = line.text;
    if (line.sourceLine != 0)
        text = std::wstring(line.source) + L':' + std::to_wstring(line.sourceLine) + L' ' + text;
    const std::string payload = ToUtf8Line(text);
    file.log(spdlog::details::log_msg(spdlog::string_view_t(), SpdlogLevel(line.level), payload));

    const bool wasBroken = broken;
    const unsigned long error = file.LastError();
    broken = error != ERROR_SUCCESS;
    if (!broken)
        return;
    triedAt = GetTickCount64();
    if (wasBroken)
        return;
    CString notice;
    notice.Format(L"The log file %s cannot be written: %s.", file.Path().GetString(),
                  OpeningFailure(error).GetString());
    ToSinks({LogLevel::Error, L"", 0, notice});
}

void COrbLog::State::FollowDataFolder()
{
    std::wstring now = DataFolder::Environment(L"ORB_DATA_FOLDER");
    if (started && now == named)
        return;
    file.SetFolder(DataFolder::Path());
    named = std::move(now);
    started = true;
    broken = false;
}

COrbLog::COrbLog() : m_state(new State) {}
COrbLog::~COrbLog() { delete m_state; }

void COrbLog::Log(const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    m_state->Write(LogLevel::Info, L"", 0, format, arguments);
    va_end(arguments);
}

void COrbLog::WriteLog(int severity, const wchar_t* source, int line, const wchar_t* format, ...)
{
    const LogLevel level = severity >= 2 ? LogLevel::Error : severity == 1 ? LogLevel::Abort : LogLevel::Info;
    va_list arguments;
    va_start(arguments, format);
    m_state->Write(level, source ? source : L"", line, format, arguments);
    va_end(arguments);
}

std::uint64_t COrbLog::AddSink(Sink sink, LogLevel least)
{
    const CSingleLock lock(m_state->section);
    m_state->sinks.emplace(++m_state->lastToken, State::LeveledSink{std::move(sink), least});
    m_state->FindLeastWanted();
    return m_state->lastToken;
}

void COrbLog::RemoveSink(std::uint64_t token)
{
    const CSingleLock lock(m_state->section);
    m_state->sinks.erase(token);
    m_state->FindLeastWanted();
}

void COrbLog::SetFileLimits(std::uint64_t bytes, int oldFiles)
{
    const CSingleLock lock(m_state->section);
    m_state->file.SetLimits(bytes, oldFiles);
}

void COrbLog::SetLevel(LogLevel least)
{
    const CSingleLock lock(m_state->section);
    m_state->least = least;
    m_state->FindLeastWanted();
}

void COrbLog::Close()
{
    const CSingleLock lock(m_state->section);
    m_state->file.Close();
    m_state->broken = false;
}

COrbFuncLog::COrbFuncLog(const wchar_t* name) : m_name(name) { g_OrbLog.Log(L"%s: begin", m_name); }
COrbFuncLog::~COrbFuncLog() { g_OrbLog.Log(L"%s: end", m_name); }

COrbLog g_OrbLog;
