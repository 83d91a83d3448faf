#include "host/PipeInstance.h"

#include "host/Console.h"

namespace
{

using Json = nlohmann::json;

constexpr double ClientLimit = 5; // seconds that a client may take to send its request, and to read the answer

} // namespace

std::string PipeText(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

PipeInstance::PipeInstance(FileHandle pipe, const Handler& handler)
    : m_handler(handler),
      m_pipe(std::move(pipe)),
      m_done(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
    Listen();
}

// A running operation must have ended before its buffers are destroyed.
PipeInstance::~PipeInstance()
{
    if (m_step == Step::Idle)
        return;
    CancelIo(m_pipe.Get());
    DWORD bytes = 0;
    GetOverlappedResult(m_pipe.Get(), &m_io, &bytes, TRUE);
}

void PipeInstance::Begin(Step step, BOOL started)
{
    m_step = step;
    const DWORD error = GetLastError();
    if (started || error == ERROR_IO_PENDING)
        return;
    if (error == ERROR_PIPE_CONNECTED) // between two calls
        SetEvent(m_done.Get());
    else
        m_step = Step::Idle; // the next Answer begins again
}

void PipeInstance::Listen()
{
    DisconnectNamedPipe(m_pipe.Get());
    m_io = {};
    m_io.hEvent = m_done.Get();
    ResetEvent(m_done.Get());
    Begin(Step::Connecting, ConnectNamedPipe(m_pipe.Get(), &m_io));
}

void PipeInstance::Read(Step step)
{
    ResetEvent(m_done.Get());
    Begin(step, ReadFile(m_pipe.Get(), m_request, sizeof m_request, nullptr, &m_io));
}

void PipeInstance::Reply(DWORD bytes)
{
    m_reply = PipeText(m_handler(Json::parse(m_request, m_request + bytes, nullptr, false)));
    m_since = Seconds(); // the time of the handler does not count as the client's
    ResetEvent(m_done.Get());
    Begin(Step::Answering, WriteFile(m_pipe.Get(), m_reply.data(), static_cast<DWORD>(m_reply.size()), nullptr, &m_io));
}

void PipeInstance::Answer()
{
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
