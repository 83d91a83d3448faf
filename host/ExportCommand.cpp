#include "host/ExportCommand.h"

#include "host/Console.h"
#include "host/PendingExport.h"

namespace
{

ExitCode Tell(const PendingExported& exported, const ExportOptions& options, RecordWriter& writer)
{
    if (!exported.failure.empty()) {
        writer.Error(exported.failure, options.to);
        return exported.refused ? ExitUsage : ExitFailure;
    }
    if (!exported.anyPending)
        writer.Note(L"nothing is pending; the list is as it was", options.to);
    writer.Exported(options.to, exported.count);
    return ExitDone;
}

} // namespace

ExitCode RunExport(const ExportOptions& options, RecordWriter& writer)
{
    const PendingExport wanted{options.to, options.most};
    if (FileIsThere(options.files.data) && TellForeignFolder(options.Use(), false, writer))
        return ExitUsage;
    if (const std::optional<PendingExported> exported = AskForExport(wanted, options.Use()))
        return Tell(*exported, options, writer);
    BackupService service(options, writer);
    if (const std::optional<ExitCode> end = service.Open())
        return *end;
    const ExitCode code = Tell(ExportPending(service.Watcher(), wanted), options, writer);
    return service.End(code);
}
