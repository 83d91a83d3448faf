#include "host/PendingExport.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "host/Console.h"
#include "host/LibraryMessages.h"
#include "support/Hashes.h"

#include <nlohmann/json.hpp>

namespace
{

using Json = nlohmann::json;

constexpr DWORD AnswerLimit = 60000; // milliseconds
constexpr DWORD BusyLimit = 5000;    // milliseconds that another one's export may take
constexpr double ClientLimit = 5;    // seconds that a client may keep the others from the pipe
constexpr DWORD LongestReply = 4096; // bytes

// Watches of different data folders do not hear each other.
CString PipeName()
{
    CString name;
    name.Format(L"\\\\.\\pipe\\orbwatch-export-%016I64x", PathHash64(GetMainSettings().GetDataFolderPath().View()));
    return name;
}

Json ToJson(const PendingExported& exported)
{
    return {{"any", exported.anyPending}, {"count", exported.count}, {"failure", ToUtf8(exported.failure)}};
}

// What is no answer says that there was none.
PendingExported FromJson(const std::string& text)
{
    const Json answer = Json::parse(text, nullptr, false);
    const bool whole = answer.is_object() && answer.contains("any") && answer["any"].is_boolean() &&
                       answer.contains("count") && answer["count"].is_number_integer() && answer.contains("failure") &&
                       answer["failure"].is_string();
    if (!whole)
        return {false, 0, L"the running watch gave no answer"};
    return {answer.value("any", false), answer.value("count", 0), FromUtf8(answer.value("failure", ""))};
}

// Anybody may write to the pipe, and the watch must go on.
bool IsRequest(const Json& request)
{
    return request.is_object() && request.contains("to") && request["to"].is_string() && request.contains("max") &&
           request["max"].is_number_integer();
}

// An operation on a pipe with a limit; the bytes that it moved, or nothing.
template <typename Operation>
std::optional<DWORD> Within(DWORD limit, HANDLE pipe, Operation operation)
{
    const KernelHandle done(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    OVERLAPPED io{};
    io.hEvent = done.Get();
    DWORD bytes = 0;
    if (operation(&io) || GetLastError() == ERROR_IO_PENDING) {
        if (WaitForSingleObject(done.Get(), limit) != WAIT_OBJECT_0)
            CancelIo(pipe);
        if (GetOverlappedResult(pipe, &io, &bytes, TRUE))
            return bytes;
    }
    return std::nullopt;
}

FileHandle OpenPipe()
{
    for (;;) {
        FileHandle pipe(CreateFileW(PipeName(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_OVERLAPPED, nullptr));
        if (pipe || GetLastError() != ERROR_PIPE_BUSY || !WaitNamedPipeW(PipeName(), BusyLimit))
            return pipe;
    }
}

} // namespace

PendingExported ExportPending(COrbWatcher& watcher, const PendingExport& wanted)
{
    // The watcher tells of a list that cannot be written in the log only.
    LibraryMessages failures(LibraryMessages::Keep::Failures);
    PendingExported exported;
    exported.count = wanted.most;
    exported.anyPending = watcher.ExportFilesToXML(wanted.file.c_str(), exported.count);
    for (const LibraryMessages::Line& line : failures.Take())
        if (line.text.starts_with(L"The pending list cannot be written"))
            exported.failure = line.text;
    return exported;
}

std::optional<PendingExported> AskForExport(const PendingExport& wanted)
{
    const FileHandle pipe = OpenPipe();
    if (!pipe)
        return std::nullopt;
    const std::string request = Json{{"to", ToUtf8(wanted.file)}, {"max", wanted.most}}.dump();
    std::string answer(LongestReply, '\0');
    const auto write = [&](OVERLAPPED* io) {
        return WriteFile(pipe.Get(), request.data(), static_cast<DWORD>(request.size()), nullptr, io);
    };
    const auto read = [&](OVERLAPPED* io) { return ReadFile(pipe.Get(), answer.data(), LongestReply, nullptr, io); };
    if (!Within(AnswerLimit, pipe.Get(), write))
        return FromJson("");
    answer.resize(Within(AnswerLimit, pipe.Get(), read).value_or(0));
    return FromJson(answer);
}

ExportServer::ExportServer(COrbWatcher& watcher)
    : m_watcher(watcher),
      m_pipe(CreateNamedPipeW(PipeName(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
                              PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_REJECT_REMOTE_CLIENTS, 1, LongestReply,
                              sizeof m_request, 0, nullptr)),
      m_done(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    if (m_pipe)
        Listen();
    else
        g_OrbLog.Log(L"Another watch answers exports of this data folder: %d", GetLastError());
}

// What is under way must have ended before its buffers go.
ExportServer::~ExportServer()
{
    if (m_step == Step::Idle)
        return;
    CancelIo(m_pipe.Get());
    DWORD bytes = 0;
    GetOverlappedResult(m_pipe.Get(), &m_io, &bytes, TRUE);
}

void ExportServer::Begin(Step step, BOOL started)
{
    m_step = step;
    const DWORD error = GetLastError();
    if (started || error == ERROR_IO_PENDING)
        return;
    if (error == ERROR_PIPE_CONNECTED) // between two calls
        SetEvent(m_done.Get());
    else
        m_step = Step::Idle; // the next Answer begins anew
}

void ExportServer::Listen()
{
    DisconnectNamedPipe(m_pipe.Get());
    m_io = {};
    m_io.hEvent = m_done.Get();
    ResetEvent(m_done.Get());
    Begin(Step::Connecting, ConnectNamedPipe(m_pipe.Get(), &m_io));
}

void ExportServer::Read(Step step)
{
    ResetEvent(m_done.Get());
    Begin(step, ReadFile(m_pipe.Get(), m_request, sizeof m_request, nullptr, &m_io));
}

void ExportServer::Reply(DWORD bytes)
{
    const Json request = Json::parse(m_request, m_request + bytes, nullptr, false);
    PendingExported exported{false, 0, L"this is no request"};
    if (IsRequest(request))
        exported = ExportPending(m_watcher, {FromUtf8(request["to"].get<std::string>()), request["max"].get<int>()});
    m_reply = ToJson(exported).dump(-1, ' ', false, Json::error_handler_t::replace).substr(0, LongestReply);
    ResetEvent(m_done.Get());
    Begin(Step::Answering, WriteFile(m_pipe.Get(), m_reply.data(), static_cast<DWORD>(m_reply.size()), nullptr, &m_io));
}

void ExportServer::Answer()
{
    if (!m_pipe)
        return;
    if (m_step == Step::Idle)
        return Listen();
    if (!IsSignalled(m_done.Get())) {
        if (m_step != Step::Connecting && Seconds() - m_since > ClientLimit)
            CancelIo(m_pipe.Get());
        return;
    }
    DWORD bytes = 0;
    const bool done = m_step == Step::Connecting || GetOverlappedResult(m_pipe.Get(), &m_io, &bytes, FALSE);
    if (m_step == Step::Connecting)
        m_since = Seconds();
    if (done && m_step == Step::Connecting)
        Read(Step::Reading);
    else if (done && m_step == Step::Reading)
        Reply(bytes);
    else if (done && m_step == Step::Answering)
        Read(Step::Leaving); // ends when the client has read the answer and closes the pipe
    else
        Listen();
}
