#include "host/ExportCommand.h"

#include "host/Console.h"
#include "host/OutputFiles.h"
#include "host/PendingExport.h"

namespace
{

ExitCode Tell(const PendingExported& exported, const ExportOptions& options, RecordWriter& writer)
{
    if (!exported.failure.empty()) {
        writer.Error(exported.failure, options.to);
        return exported.code;
    }
    if (!exported.anyPending)
        writer.Note(FileIsThere(options.to) ? L"nothing is pending; the list is as it was"
                                            : L"nothing is pending; no list was made",
                    options.to);
    writer.Exported(options.to, exported.count, exported.anyPending);
    return ExitDone;
}

bool MayWriteList(const ExportOptions& options, RecordWriter& writer)
{
    std::vector<NamedFile> inputs = FilesOf(options.files);
    for (const std::vector<NamedFile>& files : {FilesOfIndex(options.index), FilesOfDataFolder()})
        inputs.insert(inputs.end(), files.begin(), files.end());
    const auto isList = [](const std::wstring& path) { return COrbWatcher::IsPendingList(path.c_str()); };
    return MayBeWritten({options.to, L"--to", L"a list of pending files", isList, options.force}, inputs, writer);
}

} // namespace

ExitCode RunExport(const ExportOptions& options, RecordWriter& writer)
{
    if (!MayWriteList(options, writer))
        return ExitUsage;
    const PendingExport wanted{options.to, options.most};
    if (FileIsThere(options.files.data) && TellForeignFolder(options.Use(), false, writer))
        return ExitUsage;
    if (const std::optional<PendingExported> exported = AskForExport(wanted, options.Use(), writer))
        return Tell(*exported, options, writer);
    BackupService service(options, writer);
    if (const std::optional<ExitCode> end = service.Open())
        return *end;
    const ExitCode code = Tell(ExportPending(service.Watcher(), wanted), options, writer);
    return service.End(code);
}
