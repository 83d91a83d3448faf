#include "host/EnumerateCommand.h"

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
        summary.unreadable = unread + m_service.Unreadable();
        summary.deleted = m_service.Deletions();
        summary.handedOut = m_service.HandedOut();
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
            const bool given = m_service.GiveOne(true);
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

} // namespace

ExitCode RunEnumerate(const ServiceOptions& options, RecordWriter& writer)
{
    BackupService service(options, writer);
    if (const std::optional<ExitCode> end = service.Open())
        return *end;
    return EnumerateRun(service, options.files, writer).Run();
}
