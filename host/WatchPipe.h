// Lets a command reach the watch that runs on the same data folder: a pipe that is named after the folder, with one
// request and one answer a connection, both JSON objects.
//
// Any program can make a pipe of that name. The asking side therefore checks who owns the pipe, and lets the other side
// only learn its account, not act for it. The answering side accepts its own account, the system and the
// administrators. One thread uses an object.
#pragma once

#include "companions/settings/FolderUse.h"
#include "host/ExitCode.h"
#include "host/PipeInstance.h"
#include "mfc/CString.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// Returns the name of the pipe; watches of different data folders have different ones.
CString WatchPipeName();

struct WatchAnswer {
    nlohmann::json json{nlohmann::json::value_t::discarded};
    std::wstring failure;        // why there is no answer, and what to do; empty when there is an answer
    ExitCode code = ExitFailure; // how the command ends when there is no answer
};

// The time that a command waits for the running watch. Ctrl-C ends the waiting.
struct Patience {
    DWORD limit;                // milliseconds for everything
    std::function<void()> busy; // called once, when there is no answer after BusyAfter; may be empty

    static constexpr DWORD BusyAfter = 2000; // milliseconds
};

// Asks the running watch, which answers only for the selection and the index of `use`. Fails when no answer came in
// time or Ctrl-C came first, when the watch answers other clients all the time or does not accept this account, and
// when the pipe is not the watch's: then nothing is asked. Returns nothing when no watch runs.
std::optional<WatchAnswer> AskWatch(nlohmann::json request, const FolderUse& use, const Patience& patience);

// The watch's side: returns the answer to a request that names another selection or index than `own`; nothing when it
// names the same, or none.
std::optional<nlohmann::json> RefuseOthers(const nlohmann::json& request, const FolderUse& own);

// The side of the running watch. If the pipe cannot be made, the log says so, and the watch answers no requests.
class WatchPipe
{
public:
    explicit WatchPipe(PipeInstance::Handler handler);
    WatchPipe(const WatchPipe&) = delete;
    WatchPipe& operator=(const WatchPipe&) = delete;

    // Answers the requests since the last call; call it now and then. Does not wait for clients.
    void Answer();

private:
    const PipeInstance::Handler m_handler;
    std::vector<std::unique_ptr<PipeInstance>> m_instances;
};
