// Programs of other users that take the place of the watch on its pipe, or block the pipe for other commands.
#include "host/WatchPipe.h"
#include "tests/host/HostTest.h"
#include "tests/security/AccessList.h"
#include "tests/support/ImportedCall.h"

#include <thread>

namespace
{

// A pipe with the watch's name that belongs to another account and accepts any request.
class Squatter
{
public:
    explicit Squatter(nlohmann::json answer)
        : m_handler([this, answer = std::move(answer)](const nlohmann::json&) {
              ++m_asked;
              return answer;
          }),
          m_instance(MakePipe(), m_handler),
          m_thread([this](const std::stop_token& stop) {
              while (!stop.stop_requested() && WaitForSingleObject(m_paused.Get(), 5) == WAIT_TIMEOUT)
                  m_instance.Answer();
          })
    {
    }

    int Asked() const { return m_asked; }

private:
    static FileHandle MakePipe()
    {
        AccountSid guests;
        SECURITY_DESCRIPTOR foreign;
        SECURITY_ATTRIBUTES attributes{sizeof attributes, &foreign, FALSE};
        const bool made = WellKnownSid(WinBuiltinGuestsSid, guests) &&
                          InitializeSecurityDescriptor(&foreign, SECURITY_DESCRIPTOR_REVISION) &&
                          SetSecurityDescriptorOwner(&foreign, guests.Get(), FALSE) &&
                          SetSecurityDescriptorDacl(&foreign, TRUE, nullptr, FALSE);
        FileHandle pipe(CreateNamedPipeW(WatchPipeName(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                         PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, 1, 4096, 4096, 0, &attributes));
        EXPECT_TRUE(made && pipe);
        return pipe;
    }

    std::atomic<int> m_asked = 0;
    const PipeInstance::Handler m_handler;
    PipeInstance m_instance; // only the thread uses it
    const KernelHandle m_paused{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::jthread m_thread;
};

class Pipe : public HostTest
{
protected:
    static FileHandle Connect()
    {
        return FileHandle(CreateFileW(WatchPipeName(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_OVERLAPPED, nullptr));
    }
    Arguments Export() const
    {
        return {L"export", L"--json", L"--data", Path(L"selection.xml"), L"--index", index, L"--to", Path(L"list.xml")};
    }
};

TEST_F(Pipe, WhatAnotherAccountAnswersIsNoSuccess)
{
    const Squatter squatter({{"any", true}, {"count", 1}, {"failure", ""}});
    HostProcess host(Export());
    EXPECT_EQ(host.Finish(), 1);
    EXPECT_NE(OnlyError(host).value("message", "").find("another account"), std::string::npos);
    EXPECT_EQ(squatter.Asked(), 0) << "nothing of a user's files is told to a stranger";
}

TEST_F(Pipe, RulesThatAnotherAccountTakesAreNotAdded)
{
    const Squatter squatter(
        {{"result", 0}, {"excluded", nlohmann::json::array()}, {"failures", nlohmann::json::array()}});
    std::filesystem::copy_file(Path(L"selection.xml"), Path(L"new.xml"));
    HostProcess host(
        {L"add", L"--json", L"--data", Path(L"selection.xml"), L"--index", index, L"--rules", Path(L"new.xml")});
    EXPECT_EQ(host.Finish(), 1);
    EXPECT_NE(OnlyError(host).value("message", "").find("another account"), std::string::npos);
    EXPECT_EQ(squatter.Asked(), 0);
}

TEST_F(Pipe, ASilentClientHoldsUpNobody)
{
    WatchPipe pipe([](const nlohmann::json& request) { return request; });
    const FileHandle silent = Connect();
    ASSERT_TRUE(static_cast<bool>(silent));
    const FileHandle second = Connect();
    ASSERT_TRUE(static_cast<bool>(second)) << GetLastError();
    const std::string request = R"({"ask":"something"})";
    std::string answer(100, ' ');
    DWORD bytes = 0;
    OVERLAPPED writing{}, reading{};
    const KernelHandle written(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const KernelHandle done(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    writing.hEvent = written.Get();
    reading.hEvent = done.Get();
    WriteFile(second.Get(), request.data(), static_cast<DWORD>(request.size()), nullptr, &writing);
    ReadFile(second.Get(), answer.data(), static_cast<DWORD>(answer.size()), nullptr, &reading);
    for (int look = 0; look < 3000 && WaitForSingleObject(done.Get(), 10) != WAIT_OBJECT_0; ++look)
        pipe.Answer();
    if (!IsSignalled(done.Get()))
        CancelIo(second.Get());
    EXPECT_TRUE(GetOverlappedResult(second.Get(), &writing, &bytes, TRUE));
    ASSERT_TRUE(GetOverlappedResult(second.Get(), &reading, &bytes, TRUE));
    EXPECT_EQ(answer.substr(0, bytes), request);
}

struct MadePipe {
    DWORD mode;
    AccessList access;
};
std::vector<MadePipe> g_pipes;

HANDLE WINAPI NotePipe(const wchar_t* name, DWORD mode, DWORD type, DWORD most, DWORD out, DWORD in, DWORD limit,
                       SECURITY_ATTRIBUTES* attributes)
{
    g_pipes.push_back({mode, AccessList(attributes)});
    return SystemFunction<decltype(NotePipe)>("CreateNamedPipeW")(name, mode, type, most, out, in, limit, attributes);
}

TEST_F(Pipe, TheWatchMakesItFirstAndForTrustedAccountsAlone)
{
    g_pipes.clear();
    {
        const ImportedCall call(nullptr, "CreateNamedPipeW", &NotePipe);
        const WatchPipe pipe([](const nlohmann::json& request) { return request; });
    }
    ASSERT_GT(g_pipes.size(), 1u);
    for (const MadePipe& made : g_pipes) {
        EXPECT_EQ((made.mode & FILE_FLAG_FIRST_PIPE_INSTANCE) != 0, &made == &g_pipes.front());
        EXPECT_TRUE(made.access.isProtected);
        EXPECT_TRUE(made.access.others.empty());
    }
}

DWORD g_flags;

HANDLE WINAPI NoteFlags(const wchar_t* name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* attributes, DWORD how,
                        DWORD flags, HANDLE model)
{
    if (std::wstring_view(name).starts_with(L"\\\\.\\pipe\\"))
        g_flags = flags;
    return SystemFunction<decltype(NoteFlags)>("CreateFileW")(name, access, share, attributes, how, flags, model);
}

TEST_F(Pipe, WhoeverListensCannotActAsTheOneWhoAsks)
{
    g_flags = 0;
    const ImportedCall call(nullptr, "CreateFileW", &NoteFlags);
    EXPECT_FALSE(AskWatch({{"ask", "nothing"}}, {}, {1, {}}));
    EXPECT_TRUE(g_flags & SECURITY_SQOS_PRESENT);
    EXPECT_EQ(g_flags & (SECURITY_IMPERSONATION | SECURITY_DELEGATION | SECURITY_IDENTIFICATION),
              DWORD(SECURITY_IDENTIFICATION));
}

} // namespace
