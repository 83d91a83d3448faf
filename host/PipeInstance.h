// One instance of the pipe of a running watch: it waits for a client, reads one
// request, answers it, and waits for the next client. Whoever keeps silent, or does not
// read, keeps this instance alone, and for some seconds. One thread uses an object.
#pragma once

#include "support/Handle.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <string>

class PipeInstance
{
public:
    // Is given whatever JSON came, and must go on.
    using Handler = std::function<nlohmann::json(const nlohmann::json& request)>;

    static constexpr DWORD LongestRequest = 65536; // bytes

    // The server's end of a pipe that is opened for overlapped operations. The handler must outlive the object.
    PipeInstance(FileHandle pipe, const Handler& handler);
    // Ends what is under way.
    ~PipeInstance();
    PipeInstance(const PipeInstance&) = delete;
    PipeInstance& operator=(const PipeInstance&) = delete;

    // One step further, if there is one to be done. Waits for nobody.
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
    double m_since = 0; // when somebody connected, or was answered
    char m_request[LongestRequest];
    std::string m_reply;
};

// JSON as the pipe carries it.
std::string PipeText(const nlohmann::json& json);
