#include "host/WatchPipe.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "host/Console.h"
#include "support/Hashes.h"

namespace
{

using Json = nlohmann::json;

constexpr double ClientLimit = 5;        // seconds that a client may keep the others from the pipe
constexpr DWORD LongestReply = 1u << 20; // bytes

// Watches of different data folders do not hear each other.
CString PipeName()
{
    CString name;
    name.Format(L"\\\\.\\pipe\\orbwatch-%016I64x", PathHash64(GetMainSettings().GetDataFolderPath().View()));
    return name;
}

std::string Text(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

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

// Another one's request may take all of the time. Without a pipe the last error tells whether there is none.
FileHandle OpenPipe(DWORD limit)
{
    const CString name = PipeName();
    for (const ULONGLONG end = GetTickCount64() + limit;;) {
        FileHandle pipe(
            CreateFileW(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
        if (pipe || GetLastError() != ERROR_PIPE_BUSY)
            return pipe;
        const ULONGLONG now = GetTickCount64();
        if (now >= end)
            return pipe;
        // A watch that ends meanwhile takes its pipe along, which the next look finds.
        WaitNamedPipeW(name, static_cast<DWORD>(end - now));
    }
}

} // namespace

std::optional<Json> AskWatch(const Json& request, DWORD limit)
{
    const FileHandle pipe = OpenPipe(limit);
    if (!pipe)
        return GetLastError() == ERROR_FILE_NOT_FOUND ? std::nullopt : std::optional(Json(Json::value_t::discarded));
    const std::string text = Text(request);
    std::string answer(LongestReply, '\0');
    const auto write = [&](OVERLAPPED* io) {
        return WriteFile(pipe.Get(), text.data(), static_cast<DWORD>(text.size()), nullptr, io);
    };
    const auto read = [&](OVERLAPPED* io) { return ReadFile(pipe.Get(), answer.data(), LongestReply, nullptr, io); };
    const bool asked = Within(limit, pipe.Get(), write).has_value();
    answer.resize(asked ? Within(limit, pipe.Get(), read).value_or(0) : 0);
    return Json::parse(answer, nullptr, false);
}

WatchPipe::WatchPipe(Handler handler)
    : m_handler(std::move(handler)),
      m_pipe(CreateNamedPipeW(PipeName(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
                              PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_REJECT_REMOTE_CLIENTS, 1, LongestReply,
                              sizeof m_request, 0, nullptr)),
      m_done(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    if (m_pipe)
        Listen();
    else
        g_OrbLog.Log(L"Another watch answers the requests of this data folder: %d", GetLastError());
}

// What is under way must have ended before its buffers go.
WatchPipe::~WatchPipe()
{
    if (m_step == Step::Idle)
        return;
    CancelIo(m_pipe.Get());
    DWORD bytes = 0;
    GetOverlappedResult(m_pipe.Get(), &m_io, &bytes, TRUE);
}

void WatchPipe::Begin(Step step, BOOL started)
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

void WatchPipe::Listen()
{
    DisconnectNamedPipe(m_pipe.Get());
    m_io = {};
    m_io.hEvent = m_done.Get();
    ResetEvent(m_done.Get());
    Begin(Step::Connecting, ConnectNamedPipe(m_pipe.Get(), &m_io));
}

void WatchPipe::Read(Step step)
{
    ResetEvent(m_done.Get());
    Begin(step, ReadFile(m_pipe.Get(), m_request, sizeof m_request, nullptr, &m_io));
}

void WatchPipe::Reply(DWORD bytes)
{
    m_reply = Text(m_handler(Json::parse(m_request, m_request + bytes, nullptr, false)));
    m_since = Seconds(); // what the handler took is not the client's
    ResetEvent(m_done.Get());
    Begin(Step::Answering, WriteFile(m_pipe.Get(), m_reply.data(), static_cast<DWORD>(m_reply.size()), nullptr, &m_io));
}

void WatchPipe::Answer()
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
