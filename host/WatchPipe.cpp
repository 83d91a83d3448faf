#include "host/WatchPipe.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "host/Console.h"
#include "host/ShownPath.h"
#include "support/Handle.h"
#include "support/HandleOwner.h"
#include "support/Hashes.h"
#include "support/OwnerAccess.h"
#include "support/SameFile.h"

#include <algorithm>

namespace
{

using Json = nlohmann::json;

constexpr DWORD LongestReply = 1u << 20; // bytes
constexpr DWORD Instances = 4;           // clients at the same time; a silent one keeps an instance for some seconds
constexpr DWORD ServerAccess = PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED;
constexpr DWORD ServerMode = PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_REJECT_REMOTE_CLIENTS;
// The server learns the client's account, and cannot act in its name.
constexpr DWORD ClientFlags = FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION;

// The time that a request may take, of which every step uses a part.
class Waiting
{
public:
    explicit Waiting(const Patience& patience) : m_patience(patience), m_start(GetTickCount64()) {}

    // Waits for the event, null for none, or for a while. Returns false when the time is over or Ctrl-C has come.
    bool WaitFor(HANDLE event)
    {
        const HANDLE handles[] = {InterruptEvent(), event};
        for (;;) {
            const ULONGLONG passed = GetTickCount64() - m_start;
            if (passed >= m_patience.limit)
                return false;
            TellBusy(passed);
            const DWORD slice = static_cast<DWORD>(std::min<ULONGLONG>(LongestSlice, m_patience.limit - passed));
            const DWORD result = WaitForMultipleObjects(event ? 2 : 1, handles, FALSE, slice);
            m_interrupted = result == WAIT_OBJECT_0;
            if (m_interrupted || result != WAIT_TIMEOUT)
                return !m_interrupted;
            if (!event)
                return true;
        }
    }
    bool Interrupted() const { return m_interrupted; }

private:
    static constexpr DWORD LongestSlice = 100; // milliseconds

    void TellBusy(ULONGLONG passed)
    {
        if (passed < Patience::BusyAfter || !m_patience.busy || m_told)
            return;
        m_told = true;
        m_patience.busy();
    }

    const Patience& m_patience;
    const ULONGLONG m_start;
    bool m_interrupted = false;
    bool m_told = false;
};

// Performs an operation on a pipe. Returns the number of bytes that it moved, or nothing.
template <typename Operation>
std::optional<DWORD> Within(Waiting& waiting, HANDLE pipe, Operation operation)
{
    const KernelHandle done(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    OVERLAPPED io{};
    io.hEvent = done.Get();
    DWORD bytes = 0;
    if (operation(&io) || GetLastError() == ERROR_IO_PENDING) {
        if (!waiting.WaitFor(done.Get()))
            CancelIo(pipe);
        if (GetOverlappedResult(pipe, &io, &bytes, TRUE))
            return bytes;
    }
    return std::nullopt;
}

// Waits for a free instance: another client's request may take the whole time. Without a pipe, the last error tells
// whether there is none.
FileHandle OpenPipe(Waiting& waiting)
{
    const CString name = WatchPipeName();
    for (;;) {
        FileHandle pipe(
            CreateFileW(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, ClientFlags, nullptr));
        const DWORD error = GetLastError();
        if (pipe || error != ERROR_PIPE_BUSY)
            return pipe;
        // A watch that ends meanwhile takes its pipe with it; the next try to open it finds that.
        if (!waiting.WaitFor(nullptr)) {
            SetLastError(error);
            return pipe;
        }
    }
}

// The system refuses the first instance when a pipe of that name exists. Wine makes it all the same, and refuses more
// than Instances.
FileHandle MakeInstance(bool first)
{
    OwnerAccess access;
    return FileHandle(CreateNamedPipeW(WatchPipeName(), ServerAccess | (first ? FILE_FLAG_FIRST_PIPE_INSTANCE : 0),
                                       ServerMode, Instances, LongestReply, PipeInstance::LongestRequest, 0,
                                       access.Attributes()));
}

WatchAnswer Failed(std::wstring why, ExitCode code = ExitFailure)
{
    WatchAnswer answer;
    answer.failure = std::move(why);
    answer.code = code;
    return answer;
}

WatchAnswer Unanswered(const Waiting& waiting, bool asked)
{
    if (!waiting.Interrupted())
        return Failed(L"the running watch gave no answer in time; try again, or end it first");
    return Failed(asked ? L"interrupted; the running watch may still carry out what it was asked"
                        : L"interrupted before the running watch was asked; nothing was changed",
                  ExitInterrupted);
}

} // namespace

CString WatchPipeName()
{
    CString name;
    name.Format(L"\\\\.\\pipe\\orbwatch-%016I64x", PathHash64(GetMainSettings().GetDataFolderPath().View()));
    return name;
}

std::optional<Json> RefuseOthers(const Json& request, const FolderUse& own)
{
    const auto named = [&](const char* key) {
        const bool given = request.is_object() && request.contains(key) && request[key].is_string();
        return given ? CString(FromUtf8(request[key].get<std::string>())) : CString();
    };
    const FolderUse asked{named("data"), named("index")};
    if (AreSameUse(own, asked))
        return std::nullopt;
    const auto text = [](const FolderUse& use) {
        return ShownPath(use.selection.View()) + L" with the index " + ShownPath(use.index.View());
    };
    return Json{{"refused", ToUtf8(L"the watch that runs on this data folder has the selection " + text(own) +
                                   L", not " + text(asked) +
                                   L". Nothing was changed. Name that selection, or another data folder with "
                                   L"--data-folder")}};
}

std::optional<WatchAnswer> AskWatch(Json request, const FolderUse& use, const Patience& patience)
{
    Waiting waiting(patience);
    const FileHandle pipe = OpenPipe(waiting);
    if (!pipe)
        return GetLastError() == ERROR_FILE_NOT_FOUND ? std::nullopt : std::optional(Unanswered(waiting, false));
    if (!IsOwnedByTrusted(pipe.Get()))
        return Failed(
            L"another account has taken the place of the watch on this data folder, and nothing was asked of it; "
            L"end its program, then try again");
    request["data"] = ToUtf8(AbsolutePath(use.selection).View());
    request["index"] = ToUtf8(AbsolutePath(use.index).View());
    const std::string text = PipeText(request);
    std::string answer(LongestReply, '\0');
    const auto write = [&](OVERLAPPED* io) {
        return WriteFile(pipe.Get(), text.data(), static_cast<DWORD>(text.size()), nullptr, io);
    };
    const auto read = [&](OVERLAPPED* io) { return ReadFile(pipe.Get(), answer.data(), LongestReply, nullptr, io); };
    const bool asked = Within(waiting, pipe.Get(), write).has_value();
    answer.resize(asked ? Within(waiting, pipe.Get(), read).value_or(0) : 0);
    WatchAnswer given;
    given.json = Json::parse(answer, nullptr, false);
    if (given.json.is_object() && given.json.contains("refused") && given.json["refused"].is_string())
        return Failed(FromUtf8(given.json["refused"].get<std::string>()), ExitUsage);
    return given.json.is_discarded() ? Unanswered(waiting, asked) : given;
}

WatchPipe::WatchPipe(PipeInstance::Handler handler) : m_handler(std::move(handler))
{
    for (FileHandle pipe = MakeInstance(true); pipe; pipe = MakeInstance(false)) {
        m_instances.push_back(std::make_unique<PipeInstance>(std::move(pipe), m_handler));
        if (m_instances.size() == Instances)
            return;
    }
    g_OrbLog.Log(L"%s: %d",
                 m_instances.empty() ? L"Another watch answers the requests of this data folder"
                                     : L"Fewer requests are answered at once",
                 GetLastError());
}

void WatchPipe::Answer()
{
    for (const std::unique_ptr<PipeInstance>& instance : m_instances)
        instance->Answer();
}
