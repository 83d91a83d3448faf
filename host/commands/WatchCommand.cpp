#include "host/commands/WatchCommand.h"

#include "host/InputFiles.h"
#include "host/WatchRun.h"
#include "host/records/FileRecords.h"
#include "host/records/WatchRecords.h"

namespace
{

class WatchCommand : public Command
{
public:
    CommandHelp Help() const override
    {
        return {.name = "watch",
                .summary = "watch a selection and print each file that waits for backup",
                .examples = {"orbwatch watch --data selection.xml --index index.db --record --json",
                             "orbwatch watch --data selection.xml --index index.db --enumerate --until-quiet 5"},
                .text = R"(
With a new data folder or index, everything that the selection includes is looked at first, and what the index
does not hold as it is now is handed out. The same happens after a kill, and when the index is lost or another one,
when the settings are damaged, or when what the last watch left pending is: a note says why.
Ctrl-C ends it, and so does the event Local\orbwatch-interrupt-PID; what is still pending comes first at the
next start. With --record a file gets into the index within half a second after its record; a watch that is
killed before hands it out again.)",
                .records = {WatchReadyRecord::Kind, RootsRecord::Kind, PendingRecord::Kind, DeletedRecord::Kind,
                            RescanRecord::Kind, SkippedRecord::Kind, CollectedRecord::Kind, WatchSummaryRecord::Kind},
                .ends = {EndDone, EndFailed, EndRefused, EndSomeUnread, EndOutOfTime, EndInterrupted}};
    }
    std::optional<ExitCode> Refused(RecordWriter& writer) const override
    {
        return RefuseInputs({m_options.files, {}, m_options.index, m_options.destination}, writer);
    }
    ExitCode Run(RecordWriter& writer) override { return RunWatch(m_options, writer); }

private:
    void DeclareOptions(CLI::App& app) override
    {
        AddService(app, m_options, m_general);
        app.add_flag("--enumerate", m_options.enumerate, "begin with everything that is there already");
        app.add_flag("--collect", m_options.collect, "hand out nothing; what changes waits for the next start")
            ->excludes("--record");
        app.add_flag("--overlay", m_options.overlay, "tell the overlay service (orbwatch overlay) of each status");
        AddCount(app, "--max-events", m_options.maxEvents, "end after so many pending records; 0: no limit", 0,
                 std::numeric_limits<std::uint64_t>::max());
        AddSeconds(app, "--until-quiet", m_options.untilQuiet, "end when nothing came for so many seconds");
    }

    WatchOptions m_options{{.command = L"watch"}};
};

} // namespace

std::unique_ptr<Command> MakeWatchCommand() { return std::make_unique<WatchCommand>(); }
