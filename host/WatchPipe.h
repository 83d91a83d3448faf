// How a command reaches the watch that runs on the same data folder: a pipe that is
// named after the folder; one request and one answer a connection, both JSON objects.
// One thread uses an object.
#pragma once

#include "support/Handle.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <optional>
#include <string>

// The answer of the running watch; discarded when none came within the time (milliseconds), and when the watch answers
// others all the while, or does not let this account ask. Nothing when no watch runs.
std::optional<nlohmann::json> AskWatch(const nlohmann::json& request, DWORD limit);

// The side of the running watch. Without a pipe, which is then in the log, it answers nobody.
class WatchPipe
{
public:
    // The handler is given whatever JSON came, and must go on.
    using Handler = std::function<nlohmann::json(const nlohmann::json& request)>;

    explicit WatchPipe(Handler handler);
    ~WatchPipe();
    WatchPipe(const WatchPipe&) = delete;
    WatchPipe& operator=(const WatchPipe&) = delete;

    // Answers who has asked since the last call; asked now and then. Waits for nobody.
    void Answer();

private:
    enum class Step { Idle, Connecting, Reading, Answering, Leaving };

    void Begin(Step step, BOOL started);
    void Listen();
    void Read(Step step);
    void Reply(DWORD bytes);

    const Handler m_handler;
    FileHandle m_pipe;
    KernelHandle m_done;
    OVERLAPPED m_io{};
    Step m_step = Step::Idle;
    double m_since = 0; // when somebody connected, or was answered
    char m_request[65536];
    std::string m_reply;
};
