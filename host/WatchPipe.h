// How a command reaches the watch that runs on the same data folder: a pipe that is
// named after the folder; one request and one answer a connection, both JSON objects.
//
// Any program can make a pipe of that name, so that the asking side looks whose it is,
// and shows its own account only so far that the other side can tell who asks. The
// answering side lets its own account, the system and the administrators ask. One
// thread uses an object.
#pragma once

#include "host/PipeInstance.h"
#include "mfc/CString.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

// Watches of different data folders do not hear each other.
CString WatchPipeName();

struct WatchAnswer {
    nlohmann::json json{nlohmann::json::value_t::discarded};
    std::wstring failure; // why there is no answer, and what to do; empty when something has been answered
};

// The answer of the running watch; it fails when none came within the time (milliseconds), when the watch answers
// others all the while or does not let this account ask, and when the pipe is not the watch's: nothing is asked then.
// Nothing when no watch runs.
std::optional<WatchAnswer> AskWatch(const nlohmann::json& request, DWORD limit);

// The side of the running watch. Without a pipe, which is then in the log, it answers nobody.
class WatchPipe
{
public:
    explicit WatchPipe(PipeInstance::Handler handler);
    WatchPipe(const WatchPipe&) = delete;
    WatchPipe& operator=(const WatchPipe&) = delete;

    // Answers who has asked since the last call; asked now and then. Waits for nobody.
    void Answer();

private:
    const PipeInstance::Handler m_handler;
    std::vector<std::unique_ptr<PipeInstance>> m_instances;
};
