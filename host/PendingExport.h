// The pending files of a watcher as a list in a file, for a command of this
// process or of another one: a running watch answers on a pipe that is named after
// the data folder. One thread uses an object.
#pragma once

#include "orbwatcher4/OrbWatcher.h"
#include "support/Handle.h"

#include <optional>
#include <string>

struct PendingExport {
    std::wstring file;
    int most = 0;
};
struct PendingExported {
    bool anyPending = false;
    int count = 0;        // of the files that were added to the list
    std::wstring failure; // why there is no list; empty when there is one, and when nothing is pending
};

PendingExported ExportPending(COrbWatcher& watcher, const PendingExport& wanted);

// Asks the watch that runs on the same data folder. Nothing when there is none; waits for an answer for a minute at
// most.
std::optional<PendingExported> AskForExport(const PendingExport& wanted);

// The side of the running watch. Without a pipe, which is then in the log, it answers nobody.
class ExportServer
{
public:
    explicit ExportServer(COrbWatcher& watcher);
    ~ExportServer();
    ExportServer(const ExportServer&) = delete;
    ExportServer& operator=(const ExportServer&) = delete;

    // Answers who has asked since the last call; asked now and then. Waits for nobody.
    void Answer();

private:
    enum class Step { Idle, Connecting, Reading, Answering, Leaving };

    void Begin(Step step, BOOL started);
    void Listen();
    void Read(Step step);
    void Reply(DWORD bytes);

    COrbWatcher& m_watcher;
    FileHandle m_pipe;
    KernelHandle m_done;
    OVERLAPPED m_io{};
    Step m_step = Step::Idle;
    double m_since = 0; // when somebody connected
    char m_request[65536];
    std::string m_reply;
};
