// orbwatch.exe as a process of its own, talked to through pipes. Every wait has a
// limit. One thread uses an object; two threads of its own read the pipes.
#pragma once

#include "support/Handle.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// The lines that come out of one pipe.
class LineReader
{
public:
    ~LineReader() { Join(); }

    void Start(FileHandle pipe);
    void Join();
    std::vector<std::string> Lines() const;
    // True when a line that the predicate accepts has come; false after the time, or at the end.
    bool WaitFor(const std::function<bool(const std::string&)>& accepted, std::string& line);

private:
    void Read();

    FileHandle m_pipe;
    std::thread m_thread;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_lines; // guarded by m_mutex
    bool m_ended = false;             // guarded by m_mutex
};

class HostProcess
{
public:
    using Json = nlohmann::json;
    static constexpr std::chrono::seconds Limit{30}; // of every wait

    // `input` is what standard input holds. The child gets the data folder that is set in this process.
    explicit HostProcess(const std::vector<std::wstring>& arguments, const std::string& input = "");
    // Interrupted: Ctrl-C has been pressed before it does anything.
    enum class Begin { Usually, Interrupted };
    HostProcess(const std::vector<std::wstring>& arguments, Begin begin, const std::string& input = "");
    // Standard output goes into a new file, as a shell redirects it.
    struct OutputFile {
        std::wstring path;
    };
    HostProcess(const std::vector<std::wstring>& arguments, const OutputFile& output);
    ~HostProcess();
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;

    // The first record of this type, or of this path; an empty object after the time. Lines that are no JSON are passed
    // over.
    Json WaitForType(const std::string& type);
    Json WaitForPath(const std::wstring& path);
    // Does the same for standard error.
    Json WaitForError(const std::wstring& path);
    // The first record of this type on standard error.
    Json WaitForErrorType(const std::string& type);
    // A line that is this text.
    bool WaitForText(const std::string& text);
    Json WaitFor(const std::function<bool(const Json&)>& accepted) { return WaitFor(m_output, accepted); }

    // As Ctrl-C does; a test program has no console to press it in.
    void Interrupt();
    // Without any warning.
    void Kill() { TerminateProcess(m_process.Get(), 1); }
    // The same after this time, unless it has ended by then; waits for its end.
    void KillAfter(std::chrono::milliseconds time);
    // The exit code; the process is killed when it does not end in time, and the code is -1.
    int Finish(std::chrono::milliseconds limit = Limit);

    // After Finish. Records: every line must be JSON, or this throws.
    std::vector<Json> Records() const;
    // Returns the records that have come whole so far. At any time.
    std::vector<Json> WholeRecords() const;
    std::vector<Json> Errors() const;
    std::vector<std::string> OutputLines() const { return m_output.Lines(); }
    std::vector<std::string> ErrorLines() const { return m_errors.Lines(); }

private:
    static Json WaitFor(LineReader& reader, const std::function<bool(const Json&)>& accepted);

    void Start(const std::vector<std::wstring>& arguments, Begin begin, const std::string& input, FileHandle output);
    std::wstring InterruptName() const;

    KernelHandle m_process;
    KernelHandle m_interrupted; // the event, where it was set from the beginning
    DWORD m_id = 0;
    LineReader m_output;
    LineReader m_errors;
    int m_exitCode = -2;
};

std::string Utf8(const std::wstring& text);
