// orbwatch enumerate: makes one full enumeration of the selection, and hands out the files that it finds.
#include "host/BackupService.h"
#include "host/commands/Commands.h"
#include "host/records/EnumerationRecords.h"
#include "host/records/FileRecords.h"

namespace
{

constexpr DWORD PollInterval = 50; // milliseconds between two looks at the enumeration

class EnumerateRun
{
public:
    EnumerateRun(BackupService& service, const SelectionFiles& files, RecordWriter& writer)
        : m_service(service),
          m_files(files),
          m_writer(writer)
    {
    }

    ExitCode Run()
    {
        const bool leftOut = TellWhatIsLeftOut();
        const ExitCode code = Enumerate();
        m_writer.EndProgress();
        m_service.Watcher().AbortWatching(); // nothing is counted after this
        EnumerationSummaryRecord summary;
        summary.progress = m_service.Watcher().GetEnumerationProgress();
        const std::uint64_t unread = summary.progress.Of(PathOutcome::Unreadable);
        summary.exitCode = m_service.End(code, unread != 0 || leftOut || m_service.IsSelectionPartly());
        summary.unreadable = unread + m_service.HandOut().Unreadable();
        summary.deleted = m_service.HandOut().Deletions();
        summary.handedOut = m_service.HandOut().HandedOut();
        summary.pending = m_service.StillPending();
        m_writer.Write(summary);
        return m_writer.Good() ? static_cast<ExitCode>(summary.exitCode) : ExitFailure;
    }

private:
    // The enumeration names what is not there itself. Returns true when it leaves a part of the selection out.
    bool TellWhatIsLeftOut()
    {
        SelectionView selection(m_files, m_service.Outside());
        bool leftOut = !selection.TellWhatIsNotThere(m_writer);
        for (const PassedOverPath& path : selection.IncludedInVain(SelectionView::AbsentRoots::AreLeftOut))
            if (path.why != PathOutcome::Missing) {
                m_writer.Write(SkippedRecord{path});
                leftOut = true;
            }
        return leftOut;
    }

    ExitCode Enumerate()
    {
        if (!m_service.Enumerations().Start()) {
            m_writer.Error(
                L"the enumeration could not be started; what went wrong is in the log (orbwatch doctor says where)");
            return ExitFailure;
        }
        while (m_service.Enumerations().Follow()) {
            if (const std::optional<ExitCode> end = m_service.OutsideEnd())
                return *end;
            m_service.TellMessages();
            m_writer.Progress(m_service.Watcher().GetEnumerationProgress(), Seconds());
            WaitForSingleObject(InterruptEvent(), PollInterval);
        }
        m_writer.EndProgress();
        return HandOut();
    }

    // Waits until the enumeration has ended: otherwise it would meet files that were handed out already, and hand them
    // out twice.
    ExitCode HandOut()
    {
        for (;;) {
            if (const std::optional<ExitCode> end = m_service.OutsideEnd())
                return *end;
            const bool given = m_service.HandOut().GiveOne(true);
            m_service.TellEvents();
            m_service.TellMessages();
            if (!given)
                return ExitDone;
        }
    }

    BackupService& m_service;
    const SelectionFiles& m_files;
    RecordWriter& m_writer;
};

class EnumerateCommand : public Command
{
public:
    CommandHelp Help() const override
    {
        return {.name = "enumerate",
                .summary = "look at the whole selection once and print each file that waits for backup",
                .examples = {"orbwatch enumerate --data selection.xml --index index.db --record --json"},
                .text = R"(
What the index holds and the disk does not comes as deleted. The last record sums up what was found. On a
terminal, standard error shows how it goes. After Ctrl-C or the time limit, what is still pending comes first at
the next start.)",
                .records = {PendingRecord::Kind, DeletedRecord::Kind, RescanRecord::Kind, SkippedRecord::Kind,
                            EnumerationSummaryRecord::Kind},
                .ends = {EndDone, EndFailed, EndRefused, EndSomeUnread, EndOutOfTime, EndInterrupted}};
    }
    std::optional<Inputs> Named() const override { return NamedBy(m_options); }
    ExitCode Run(RecordWriter& writer) override
    {
        BackupService service(m_options, writer);
        if (const std::optional<ExitCode> end = service.Open())
            return *end;
        return EnumerateRun(service, m_options.files, writer).Run();
    }

private:
    void DeclareOptions(CLI::App& app) override { AddService(app, m_options, m_general); }

    ServiceOptions m_options{.command = L"enumerate"};
};

} // namespace

std::unique_ptr<Command> MakeEnumerateCommand() { return std::make_unique<EnumerateCommand>(); }
