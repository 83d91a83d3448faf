#include "tests/host/HostProcess.h"

#include "tests/support/TestMachine.h"

#include <chrono>
#include <stdexcept>

namespace
{

struct Pipe {
    FileHandle read;
    FileHandle write;

    Pipe()
    {
        HANDLE readEnd = nullptr, writeEnd = nullptr;
        if (!CreatePipe(&readEnd, &writeEnd, nullptr, 1 << 16))
            throw std::runtime_error("no pipe");
        read.Reset(readEnd);
        write.Reset(writeEnd);
    }
};

void Inherit(const FileHandle& handle) { SetHandleInformation(handle.Get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT); }

std::wstring Program()
{
    wchar_t path[1024] = {};
    GetModuleFileNameW(nullptr, path, 1024);
    const std::wstring own = path;
    return own.substr(0, own.rfind(L'\\') + 1) + L"orbwatch.exe";
}

// As programs of this system take their command line apart: a quote is escaped, and so are the backslashes
// before it.
std::wstring Quoted(const std::wstring& argument)
{
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t unit : argument) {
        if (unit == L'"')
            text.append(backslashes + 1, L'\\');
        backslashes = unit == L'\\' ? backslashes + 1 : 0;
        text += unit;
    }
    return text.append(backslashes, L'\\') + L"\"";
}

bool IsWineNotice(const std::string& line) { return line.starts_with("wine: "); }

std::vector<HostProcess::Json> Parsed(const std::vector<std::string>& lines)
{
    std::vector<HostProcess::Json> records;
    for (const std::string& line : lines)
        if (!IsWineNotice(line))
            records.push_back(HostProcess::Json::parse(line));
    return records;
}

} // namespace

std::string Utf8(const std::wstring& text) { return Narrow(text); }

void LineReader::Start(FileHandle pipe)
{
    m_pipe = std::move(pipe);
    m_thread = std::thread([this] { Read(); });
}

void LineReader::Join()
{
    if (m_thread.joinable())
        m_thread.join();
}

void LineReader::Read()
{
    std::string rest;
    char buffer[4096];
    DWORD got = 0;
    while (ReadFile(m_pipe.Get(), buffer, sizeof buffer, &got, nullptr) && got > 0) {
        rest.append(buffer, got);
        const std::lock_guard lock(m_mutex);
        for (std::size_t end; (end = rest.find('\n')) != std::string::npos; rest.erase(0, end + 1))
            m_lines.push_back(rest.substr(0, rest.find_last_not_of("\r\n", end) + 1));
        m_changed.notify_all();
    }
    const std::lock_guard lock(m_mutex);
    if (!rest.empty())
        m_lines.push_back(rest);
    m_ended = true;
    m_changed.notify_all();
}

std::vector<std::string> LineReader::Lines() const
{
    const std::lock_guard lock(m_mutex);
    return m_lines;
}

bool LineReader::WaitFor(const std::function<bool(const std::string&)>& accepted, std::string& line)
{
    std::unique_lock lock(m_mutex);
    std::size_t seen = 0;
    bool found = false;
    m_changed.wait_for(lock, HostProcess::Limit, [&] {
        for (; seen < m_lines.size() && !found; ++seen)
            if (accepted(m_lines[seen])) {
                line = m_lines[seen];
                found = true;
            }
        return found || m_ended;
    });
    return found;
}

HostProcess::HostProcess(const std::vector<std::wstring>& arguments, const std::string& input)
    : HostProcess(arguments, Begin::Usually, input)
{
}

HostProcess::HostProcess(const std::vector<std::wstring>& arguments, Begin begin, const std::string& input)
{
    Start(arguments, begin, input, FileHandle());
}

HostProcess::HostProcess(const std::vector<std::wstring>& arguments, const OutputFile& output)
{
    Start(arguments, Begin::Usually, "",
          FileHandle(
              CreateFileW(output.path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, 0, nullptr)));
}

// Without a file, output comes through a pipe.
void HostProcess::Start(const std::vector<std::wstring>& arguments, Begin begin, const std::string& input,
                        FileHandle output)
{
    std::wstring line = Quoted(Program());
    for (const std::wstring& argument : arguments)
        line += L" " + Quoted(argument);
    Pipe in, out, err;
    Inherit(in.read);
    Inherit(out.write);
    Inherit(err.write);
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = in.read.Get();
    if (output)
        Inherit(output);
    start.hStdOutput = output ? output.Get() : out.write.Get();
    start.hStdError = err.write.Get();
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NEW_PROCESS_GROUP | CREATE_SUSPENDED,
                        nullptr, nullptr, &start, &process))
        throw std::runtime_error("orbwatch.exe cannot be started");
    const KernelHandle thread(process.hThread);
    m_process.Reset(process.hProcess);
    m_id = process.dwProcessId;
    if (begin == Begin::Interrupted)
        m_interrupted.Reset(CreateEventW(nullptr, TRUE, TRUE, InterruptName().c_str()));
    ResumeThread(thread.Get());
    m_output.Start(std::move(out.read));
    m_errors.Start(std::move(err.read));
    DWORD written = 0;
    WriteFile(in.write.Get(), input.data(), static_cast<DWORD>(input.size()), &written, nullptr);
}

HostProcess::~HostProcess()
{
    if (m_exitCode == -2)
        Interrupt();
    Finish();
}

HostProcess::Json HostProcess::WaitFor(LineReader& reader, const std::function<bool(const Json&)>& accepted)
{
    std::string line;
    const auto acceptedLine = [&](const std::string& text) {
        const Json record = Json::parse(text, nullptr, false);
        return record.is_object() && accepted(record);
    };
    return reader.WaitFor(acceptedLine, line) ? Json::parse(line) : Json::object();
}

HostProcess::Json HostProcess::WaitForType(const std::string& type)
{
    return WaitFor([&](const Json& record) { return record.value("type", "") == type; });
}

HostProcess::Json HostProcess::WaitForPath(const std::wstring& path)
{
    return WaitFor([&](const Json& record) { return record.value("path", "") == Utf8(path); });
}

HostProcess::Json HostProcess::WaitForError(const std::wstring& path)
{
    return WaitFor(m_errors, [&](const Json& record) { return record.value("path", "") == Utf8(path); });
}

HostProcess::Json HostProcess::WaitForErrorType(const std::string& type)
{
    return WaitFor(m_errors, [&](const Json& record) { return record.value("type", "") == type; });
}

bool HostProcess::WaitForText(const std::string& text)
{
    std::string line;
    return m_output.WaitFor([&](const std::string& came) { return came == text; }, line);
}

std::wstring HostProcess::InterruptName() const { return L"Local\\orbwatch-interrupt-" + std::to_wstring(m_id); }

void HostProcess::Interrupt()
{
    const KernelHandle event(OpenEventW(EVENT_MODIFY_STATE, FALSE, InterruptName().c_str()));
    if (event)
        SetEvent(event.Get());
}

void HostProcess::KillAfter(std::chrono::milliseconds time)
{
    WaitForSingleObject(m_process.Get(), static_cast<DWORD>(time.count()));
    Kill();
    Finish();
}

std::vector<HostProcess::Json> HostProcess::WholeRecords() const
{
    std::vector<Json> records;
    for (const std::string& line : m_output.Lines())
        if (Json record = Json::parse(line, nullptr, false); record.is_object())
            records.push_back(std::move(record));
    return records;
}

int HostProcess::Finish(std::chrono::milliseconds limit)
{
    if (m_exitCode != -2)
        return m_exitCode;
    DWORD code = static_cast<DWORD>(-1);
    if (WaitForSingleObject(m_process.Get(), static_cast<DWORD>(limit.count())) == WAIT_OBJECT_0)
        GetExitCodeProcess(m_process.Get(), &code);
    else
        TerminateProcess(m_process.Get(), code);
    m_output.Join();
    m_errors.Join();
    m_exitCode = static_cast<int>(code);
    return m_exitCode;
}

std::vector<HostProcess::Json> HostProcess::Records() const { return Parsed(m_output.Lines()); }
std::vector<HostProcess::Json> HostProcess::Errors() const { return Parsed(m_errors.Lines()); }
