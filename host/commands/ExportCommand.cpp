// orbwatch export: writes the pending files as a list in a file. Asks a watch that runs on the same data folder;
// without one, exports what the last watch left pending.
#include "companions/settings/DataFolder.h"
#include "host/BackupService.h"
#include "host/Console.h"
#include "host/NamedFiles.h"
#include "host/PendingExport.h"
#include "host/RunningWatchers.h"
#include "host/commands/Commands.h"
#include "host/records/ExportRecords.h"
#include "support/DigestOfFiles.h"
#include "support/FileReplacement.h"
#include "support/SystemPath.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>

namespace
{

struct ExportOptions : ServiceOptions {
    std::wstring to = {};
    bool force = false; // replace a file that is no list
    int most = std::numeric_limits<int>::max();
};

constexpr const char* EmptyList = "<root><count>0</count></root>";

// Returns nothing when it cannot be asked.
using Exporter = std::function<std::optional<PendingExported>(const PendingExport& wanted)>;

bool IsList(const std::wstring& path) { return COrbWatcher::IsPendingList(path.c_str()); }

// An export only reads: a name that is misspelled must not make a new data folder or index, in which nothing is
// pending.
bool IsInputThere(const ExportOptions& options, RecordWriter& writer)
{
    const std::wstring folder = DataFolder::Path().GetString();
    if (!FolderIsThere(folder)) {
        writer.Error(L"the data folder is not there, and none was made; name the one of the watch with --data-folder",
                     folder);
        return false;
    }
    if (FileIsThere(options.files.data) && TellForeignFolder(options.Use(), false, writer))
        return false;
    if (!FileIsThere(options.index)) {
        writer.Error(L"the index is not there, and none was made; name the one of the watch with --index",
                     options.index);
        return false;
    }
    return true;
}

bool MayWriteList(const ExportOptions& options, RecordWriter& writer)
{
    return MayBeWritten({options.to, L"--to", L"a list of pending files", IsList, options.force},
                        FilesThatStay(options.files, options.index), writer);
}

bool WriteEmptyList(const std::wstring& path)
{
    std::ofstream file(std::filesystem::path(path), std::ios::binary);
    file << EmptyList;
    return static_cast<bool>(file.flush());
}

// The list that takes the place of an older one. It is made beside it, because a watcher adds to a list that is there.
class NewList
{
public:
    NewList(const ExportOptions& options, const Exporter& exporter) : m_options(options), m_exporter(exporter) {}

    // Returns nothing when the exporter did not answer.
    std::optional<PendingExported> Make()
    {
        const bool written =
            ReplaceWhole(m_options.to.c_str(), [this](const CString& draft) { return Fill(PlainPath(draft)); });
        if (!m_answered)
            return std::nullopt;
        if (!written && m_wanted)
            m_exported.failure = L"the list cannot be written: " + SystemText(GetLastError()) +
                                 L" Make room or its folder writable, or name another --to";
        return m_exported;
    }

private:
    // Returns false when there is nothing to put in the place of the older list.
    bool Fill(const CString& draft)
    {
        DeleteFileW(draft);
        const std::optional<PendingExported> answer = m_exporter({draft.GetString(), m_options.most, m_options.to});
        m_answered = answer.has_value();
        if (!answer)
            return false;
        m_exported = *answer;
        const bool older = FileIsThere(m_options.to);
        // While not everything is known, an older list is better than an empty one.
        m_wanted = m_exported.failure.empty() && (m_exported.anyPending || (older && m_exported.gap.empty()));
        if (const std::size_t at = m_exported.failure.find(draft.View()); at != std::wstring::npos)
            m_exported.failure.replace(at, static_cast<std::size_t>(draft.GetLength()), m_options.to);
        if (!m_wanted || (!m_exported.anyPending && !WriteEmptyList(draft.GetString())))
            return false;
        return !older || IsList(m_options.to) || SetAside(m_options.to.c_str());
    }

    const ExportOptions& m_options;
    const Exporter& m_exporter;
    PendingExported m_exported;
    bool m_answered = true;
    bool m_wanted = true; // a list is to be written
};

ExitCode Tell(const PendingExported& exported, bool older, const ExportOptions& options, RecordWriter& writer)
{
    if (!exported.failure.empty()) {
        writer.Error(exported.failure, options.to);
        return exported.code;
    }
    if (!exported.gap.empty())
        writer.Error(L"the list is not complete: " + exported.gap, options.to);
    if (!exported.anyPending && !exported.gap.empty())
        writer.Note(older ? L"nothing is known to be pending; the older list stays"
                          : L"nothing is known to be pending; no list was made",
                    options.to);
    else if (!exported.anyPending)
        writer.Note(older ? L"nothing is pending; the list is empty now" : L"nothing is pending; no list was made",
                    options.to);
    if (exported.more != 0)
        writer.Note(L"the list ends after " + std::to_wstring(exported.count) + L" (--max); " +
                        std::to_wstring(exported.more) + (exported.more == 1 ? L" more waits" : L" more wait"),
                    options.to);
    writer.Write(ExportedRecord{options.to, exported.count, exported.anyPending});
    return exported.gap.empty() ? ExitDone : ExitSomeUnreadable;
}

// Makes the list, and reports it. Returns nothing when the exporter did not answer.
std::optional<ExitCode> Export(const ExportOptions& options, const Exporter& exporter, RecordWriter& writer)
{
    const bool older = FileIsThere(options.to);
    const std::optional<PendingExported> exported = NewList(options, exporter).Make();
    return exported ? std::optional(Tell(*exported, older, options, writer)) : std::nullopt;
}

bool WasAnyRunKilled()
{
    const std::vector<MarkedRun> runs = FindRuns(DataFolder::Path().GetString());
    return std::any_of(runs.begin(), runs.end(), [](const MarkedRun& run) { return !run.running; });
}

std::vector<CString> RootsOf(const SelectionFiles& files)
{
    std::vector<CString> roots;
    for (const SelectionView::Root& root : SelectionView(files).Roots())
        roots.push_back(root.path);
    return roots;
}

// Returns true when the next watch finds another selection than the last one.
bool IsSelectionEdited(const SelectionFiles& files)
{
    wchar_t before[256] = L"";
    GetServiceRunSettings().GetValue(SelectionNoteKey, before, std::size(before));
    const CString now = DigestOfFiles({files.data.c_str(), files.autoExclude.c_str(), files.advanced.c_str()});
    return before[0] && !now.IsEmpty() && now != before;
}

bool IsAnythingLeft() { return FileIsThere(std::wstring(DataFolder::Path().GetString()) + L"\\watcher_dump.bin"); }

// Exports what the last watch has left.
ExitCode ExportLeft(const ExportOptions& options, RecordWriter& writer)
{
    // A dump without settings is what a watch has left, and the rest is not known.
    if (!FirstTimeRuns::WasAnyNoted() && !IsAnythingLeft()) {
        writer.Error(L"nothing says what is pending: no watch has completed its first enumeration with this data "
                     L"folder, or its settings are lost. Start orbwatch watch first; no list was made",
                     DataFolder::Path().GetString());
        return ExitSomeUnreadable;
    }
    const bool killed = WasAnyRunKilled();
    BackupService service(options, writer);
    if (const std::optional<ExitCode> end = service.Open())
        return *end;
    const std::vector<CString> roots = RootsOf(options.files);
    const bool edited = IsSelectionEdited(options.files);
    const auto exporter = [&](PendingExport wanted) -> std::optional<PendingExported> {
        wanted.roots = roots;
        PendingExported exported = ExportPending(service.Watcher(), wanted);
        if (edited && exported.gap.empty())
            exported.gap = L"the selection was edited since a watch has looked at it: what it includes now may be "
                           L"missing";
        if (killed)
            exported.gap = L"the last run was killed or crashed, and what it held is not known; " + exported.gap;
        return exported;
    };
    return service.End(Export(options, exporter, writer).value_or(ExitSomeUnreadable)); // it always answers
}

class ExportCommand : public Command
{
public:
    CommandHelp Help() const override
    {
        return {.name = "export",
                .summary = "write what is pending as a list",
                .examples = {"orbwatch export --data selection.xml --index index.db --to pending.xml --max 1000"},
                .text = R"(
A watch that runs on the same data folder is asked; otherwise it is what the last one has left. An older list is
replaced, when nothing is pending by an empty one; without an older list none is made then. A file that is no
list, and one that this command reads, is not written over. After a kill, and as long as an enumeration is due or
running, not everything that is pending is known: the list is then made of what is known, or, when nothing is
known, the older list stays, and the exit code is 3. A data folder and an index that are not there are not made.
When the settings are lost or damaged, the list is made of what the last watch has left, and the exit code is 3.
When --max leaves something out, a note says how many more wait (with the deletions that wait), and the exit code
stays 0: the list is as it was asked for.)",
                .records = {ExportedRecord::Kind},
                .ends = {EndDone,
                         EndFailed,
                         EndRefused,
                         {ExitSomeUnreadable,
                          "done, but the list is not complete, or not all of the selection could be read"},
                         EndInterrupted}};
    }
    std::optional<Inputs> Named() const override { return Inputs{m_options.files, {}, m_options.index}; }
    ExitCode Run(RecordWriter& writer) override
    {
        if (!IsInputThere(m_options, writer) || !MayWriteList(m_options, writer))
            return ExitUsage;
        const auto ask = [&](const PendingExport& wanted) { return AskForExport(wanted, m_options.Use(), writer); };
        const std::optional<ExitCode> asked = Export(m_options, ask, writer);
        return asked ? *asked : ExportLeft(m_options, writer);
    }

private:
    void DeclareOptions(CLI::App& app) override
    {
        AddWaiting(app, m_options, m_general, "the index of what is backed up");
        AddFile(app, "--to", m_options.to, "the list (XML); an older list is replaced")->required();
        app.add_flag("--force", m_options.force, "replace a file that is no list; it is kept with the ending .bad");
        AddCount(app, "--max", m_options.most, "at most so many files, 1 or more; otherwise all", 1);
    }

    ExportOptions m_options{{.command = L"export"}};
};

} // namespace

std::unique_ptr<Command> MakeExportCommand() { return std::make_unique<ExportCommand>(); }
