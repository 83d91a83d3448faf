// One instance of the pipe of a running watch: waits for a client, reads one request, answers it, and waits for the
// next client. A client that stays silent, or does not read, blocks this instance alone, and only for some seconds. One
// thread uses an object.
#pragma once

#include "support/Handle.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <string>

class PipeInstance
{
public:
    // Receives whatever the client sent, a discarded value when that is no JSON, and must return an answer.
    using Handler = std::function<nlohmann::json(const nlohmann::json& request)>;

    static constexpr DWORD LongestRequest = 65536; // bytes

    // `pipe` is the server's end of a pipe that was opened for overlapped operations. The handler must outlive the
    // object.
    PipeInstance(FileHandle pipe, const Handler& handler);
    // Cancels a running operation.
    ~PipeInstance();
    PipeInstance(const PipeInstance&) = delete;
    PipeInstance& operator=(const PipeInstance&) = delete;

    // Goes one step further if one is possible. Never waits.
    void Answer();

private:
    enum class Step { Idle, Connecting, Reading, Answering, Leaving };

    void Begin(Step step, BOOL started);
    void Listen();
    void Read(Step step);
    void Reply(DWORD bytes);

    const Handler& m_handler;
    const FileHandle m_pipe;
    const KernelHandle m_done;
    OVERLAPPED m_io{};
    Step m_step = Step::Idle;
    double m_since = 0; // when a client connected, or was answered
    char m_request[LongestRequest];
    std::string m_reply;
};

// Returns JSON in the form that the pipe carries.
std::string PipeText(const nlohmann::json& json);
