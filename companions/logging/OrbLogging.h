/// @file
/// The product's log: UTF-8, rotated by size, in the data folder.
///
/// Any thread may call every operation. A log that cannot be written never stops the work: the lines still reach the
/// sinks, which get one line about the failure, and the file is tried again every few seconds. Each line is given to
/// the system at once, so that a process that is killed loses none. Several processes may write to the same file.
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

/// The importance of a line.
enum class LogLevel { Info = 0, Abort = 1, Error = 2 };

/// One line of the log. The texts are valid only during the call.
struct LogLine {
    LogLevel level;        ///< level of the line
    const wchar_t* source; ///< empty for lines of Log
    int sourceLine;        ///< 0 for lines of Log
    const wchar_t* text;   ///< without a line end
};

/// A log with its file and its sinks. Any thread.
class ORBLOGGING_API COrbLog
{
public:
    /// Makes a log; the first line opens the file.
    COrbLog();
    /// Releases the sinks.
    ~COrbLog();
    COrbLog(const COrbLog&) = delete;
    COrbLog& operator=(const COrbLog&) = delete;

    /// Writes a line of information.
    void Log(const wchar_t* format, ...);
    /// Writes a line. severity: 1 for aborts, 2 for failures; line: the place by which the product's support knows the
    /// line.
    void WriteLog(int severity, const wchar_t* source, int line, const wchar_t* format, ...);

    /// A function that receives lines, on the thread that writes them, one line at a time. It must not log.
    using Sink = std::function<void(const LogLine&)>;
    /// Sends every later line of this level or a higher one to the sink, too. Returns the token for RemoveSink.
    std::uint64_t AddSink(Sink sink, LogLevel least = LogLevel::Info);
    /// Removes the sink. Waits when the sink is being called. Do not call it from inside a sink.
    void RemoveSink(std::uint64_t token);

    /// Sets the limits: a file beyond `bytes` is renamed to OrbWatcher.1.log, and so on; `oldFiles` of these are kept.
    /// The defaults are 10 MiB and three old files. A file that several processes write to may become longer by a
    /// sixteenth of the limit for each of them.
    void SetFileLimits(std::uint64_t bytes, int oldFiles);
    /// Sets the least important lines that get into the file: Info is everything, and the default. A line that neither
    /// the file nor a sink wants is not even formatted.
    void SetLevel(LogLevel least);
    /// Closes the file, so that the data folder can be moved; the next line opens it again.
    void Close();

private:
    struct State;
    State* m_state;
};

/// Writes the beginning and the end of an operation.
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

/// The log of the product, one for each process.
extern ORBLOGGING_API COrbLog g_OrbLog;
