/// @file
/// The product's log: UTF-8, rotated by size, in the data folder.
///
/// Every operation may be called from any thread. A log that cannot be written
/// never stops the work: the lines still reach the sinks, which are told once, and
/// the file is tried again every few seconds. Each line is handed to the system at
/// once, so that a process that is killed loses none; several processes may write
/// to the same file.
///
/// A line is: time (UTC), process and thread, level, source and its line when given, text.
///
/// Formats are Microsoft wide printf formats: %s is wide text, %I64d a 64-bit integer.
#pragma once

#include <cstdint>
#include <functional>

#ifdef ORBLOGGING_EXPORTS
#define ORBLOGGING_API __declspec(dllexport)
#else
#define ORBLOGGING_API __declspec(dllimport)
#endif

/// How much a line matters.
enum class LogLevel { Info = 0, Abort = 1, Error = 2 };

/// One line as it goes to the log. The texts live only as long as the call.
struct LogLine {
    LogLevel level;        ///< of the line
    const wchar_t* source; ///< empty for Log
    int sourceLine;        ///< 0 for Log
    const wchar_t* text;   ///< without a line end
};

/// A log: its file and its sinks. Any thread.
class ORBLOGGING_API COrbLog
{
public:
    /// The file is opened by the first line.
    COrbLog();
    /// The sinks are let go.
    ~COrbLog();
    COrbLog(const COrbLog&) = delete;
    COrbLog& operator=(const COrbLog&) = delete;

    /// A line of information.
    void Log(const wchar_t* format, ...);
    /// severity: 1 for aborts, 2 for failures; line: the place that the product's support knows it by.
    void WriteLog(int severity, const wchar_t* source, int line, const wchar_t* format, ...);

    /// A sink sees every line on the thread that writes it, one line at a time. It must not log.
    /// The token takes it out again; once RemoveSink returns, the sink is not called any more.
    using Sink = std::function<void(const LogLine&)>;
    /// Every line from now on goes to the sink, too. The token is for RemoveSink.
    std::uint64_t AddSink(Sink sink);
    /// Waits for a line that the sink is being shown. Not from inside a sink.
    void RemoveSink(std::uint64_t token);

    /// A file beyond `bytes` is renamed to OrbWatcher.1.log, and so on; `oldFiles` of these are kept.
    /// From the start: 10 MiB and three old files.
    void SetFileLimits(std::uint64_t bytes, int oldFiles);
    /// Gives the file back, so that the data folder can be moved; the next line opens it again.
    void Close();

private:
    struct State;
    State* m_state;
};

/// Writes the entry and the end of an operation.
class ORBLOGGING_API COrbFuncLog
{
public:
    explicit COrbFuncLog(const wchar_t* name); ///< the name must outlive the guard
    /// Writes the end of the operation.
    ~COrbFuncLog();
    COrbFuncLog(const COrbFuncLog&) = delete;
    COrbFuncLog& operator=(const COrbFuncLog&) = delete;

private:
    const wchar_t* m_name;
};

/// The log of the product, for all of a process.
extern ORBLOGGING_API COrbLog g_OrbLog;
