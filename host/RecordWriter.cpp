#include "host/RecordWriter.h"

#include "host/Console.h"
#include "host/EstimateReport.h"
#include "host/RecordFields.h"
#include "host/ShownPath.h"
#include "support/Backslash.h"
#include "support/HarmlessText.h"
#include "support/SystemPath.h"

#include <nlohmann/json.hpp>

#include <string_view>
#include <utility>

namespace
{

using Json = nlohmann::ordered_json;

constexpr std::size_t MostNotesKept = 1000;
constexpr std::size_t RowsForPeople = 15;

// An edit is a word and, for some words, a path.
std::wstring ShownEdit(const std::wstring& edit)
{
    for (const std::wstring_view word : {L"include ", L"exclude "})
        if (edit.starts_with(word))
            return std::wstring(word) + ShownPath(std::wstring_view(edit).substr(word.size()));
    return HarmlessText(edit);
}

// Something of the other kind may be there: a folder that is there was wanted as a file. The root of a drive is missing
// when another volume is there.
std::pair<const char*, const char*> ReasonOfMissing(const CString& path)
{
    const bool root = path.GetLength() <= 3;
    const DWORD attributes = root ? INVALID_FILE_ATTRIBUTES : GetFileAttributesW(SystemPath(WithoutBackslash(path)));
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return {"missing", "not there"};
    if (attributes & FILE_ATTRIBUTE_DIRECTORY)
        return {"isFolder", "a folder is there, and its rule is for a single file"};
    return EndsInBackslash(path) ? std::pair("isFile", "a file is there, and its rule is for a folder")
                                 : std::pair("missing", "not there");
}

// Returns the name of a reason for programs, and its words for people.
std::pair<const char*, const char*> ReasonOf(const PassedOverPath& skipped)
{
    switch (skipped.why) {
    case PathOutcome::Missing:
        return ReasonOfMissing(skipped.path);
    case PathOutcome::TooLong:
        return {"tooLong", "its path is too long"};
    case PathOutcome::BackupFolder:
        return {"backupFolder", "the backup destination is never backed up"};
    case PathOutcome::OwnFile:
        return {"ownFile", "the product's own files are never backed up"};
    default:
        return {"unreadable", "cannot be read"};
    }
}

} // namespace

RecordWriter::RecordWriter(FILE* data, bool json) : RecordWriter(OutputStream::Of(data), OutputStream::Of(stderr), json)
{
}

RecordWriter::RecordWriter(const OutputStream& data, const OutputStream& errors, bool json)
    : m_data{data.file, 0, Colours(data)},
      m_errors{errors.file, 0, Colours(errors)},
      m_progress(errors),
      m_dataOnTerminal(data.terminal),
      m_json(json)
{
}

void RecordWriter::PrintLine(const std::string& line) { Print(m_data, m_data.colours.Line(line)); }

void RecordWriter::Print(Stream& to, const std::string& lines)
{
    if (&to == &m_errors || m_dataOnTerminal)
        m_progress.Erase();
    std::fwrite(lines.data(), 1, lines.size(), to.file);
    std::fflush(to.file);
}

void RecordWriter::WriteJson(Stream& to, const char* type, const Json& fields)
{
    Json object = {{"type", type}, {"seq", ++to.seq}, {"time", RecordFields::Now()}};
    object.update(fields);
    Print(to, HarmlessJson(object.dump(-1, ' ', false, Json::error_handler_t::replace)) + "\n");
}

void RecordWriter::WriteRoots(const char* type, const std::vector<CString>& roots)
{
    Json names = Json::array();
    std::string list;
    for (const CString& root : roots) {
        names.push_back(ToUtf8(root.View()));
        list += " " + ToUtf8(ShownPath(root.View()));
    }
    if (m_json)
        WriteJson(m_data, type, Json{{"roots", names}});
    else
        PrintLine("watching" + (list.empty() ? std::string(" nothing") : list) + "\n");
}

void RecordWriter::Pending(const QueueDatum& datum)
{
    if (m_json)
        WriteJson(m_data, "pending", RecordFields::OfPending(datum));
    else
        PrintLine(RecordFields::PendingLine(datum));
}

void RecordWriter::Explain(const std::wstring& path, const PathExplanation& explanation)
{
    if (m_json)
        WriteJson(m_data, "explain", RecordFields::OfExplanation(path, explanation));
    else
        PrintLine(RecordFields::ExplanationLines(path, explanation));
}

void RecordWriter::Deleted(const DeletionRecord& record)
{
    if (m_json)
        WriteJson(m_data, "deleted", RecordFields::OfDeletion(record));
    else
        PrintLine("deleted " + ToUtf8(ShownPath(RecordFields::DeletedPath(record))) + "\n");
}

void RecordWriter::Rescan(const CString& root, const std::string& reason)
{
    if (m_json)
        WriteJson(m_data, "rescan", Json{{"root", ToUtf8(root.View())}, {"reason", reason}});
    else
        PrintLine("looking at " + ToUtf8(ShownPath(root.View())) + " again (" + reason + ")\n");
}

void RecordWriter::Skipped(const PassedOverPath& skipped)
{
    const auto [reason, words] = ReasonOf(skipped);
    if (m_json)
        WriteJson(m_data, "skipped", Json{{"path", ToUtf8(skipped.path.View())}, {"reason", reason}});
    else
        PrintLine("skipped " + ToUtf8(ShownPath(skipped.path.View())) + ": " + words + "\n");
}

const char* RecordWriter::WordsOf(const PassedOverPath& skipped) { return ReasonOf(skipped).second; }

void RecordWriter::Collected(std::int64_t pending)
{
    if (m_json)
        WriteJson(m_data, "collected", Json{{"pending", pending}});
    else
        PrintLine("waiting: " + std::to_string(pending) + "\n");
}

void RecordWriter::Summary(std::uint64_t handedOut, std::int64_t pending, int exitCode)
{
    if (m_json)
        WriteJson(m_data, "summary", Json{{"handedOut", handedOut}, {"pending", pending}, {"exit", exitCode}});
    else
        PrintLine("handed out " + std::to_string(handedOut) + ", still pending " + std::to_string(pending) + "\n");
}

void RecordWriter::Summary(const EnumerationSummary& summary)
{
    if (m_json)
        WriteJson(m_data, "summary", summary.Fields());
    else
        PrintLine(summary.Lines());
}

void RecordWriter::Created(const std::wstring& path)
{
    if (m_json)
        WriteJson(m_data, "created", Json{{"path", ToUtf8(path)}});
    else
        PrintLine("created " + ToUtf8(ShownPath(path)) + "\n");
}

void RecordWriter::OverlayReady()
{
    if (m_json)
        WriteJson(m_data, "ready", Json::object());
    else
        PrintLine("keeping overlay statuses\n");
}

void RecordWriter::Overlay(const std::wstring& path, std::int32_t status, const std::string& meaning)
{
    if (m_json)
        WriteJson(m_data, "overlay", Json{{"path", ToUtf8(path)}, {"status", status}, {"meaning", meaning}});
    else
        PrintLine(meaning + " " + ToUtf8(ShownPath(path)) + "\n");
}

void RecordWriter::OverlaySummary(std::uint64_t requests, std::uint64_t paths, int exitCode)
{
    if (m_json)
        WriteJson(m_data, "summary", Json{{"requests", requests}, {"paths", paths}, {"exit", exitCode}});
    else
        PrintLine(RecordFields::Counted(requests, "request", "requests") + ", " +
                  RecordFields::Counted(paths, "path", "paths") + "\n");
}

void RecordWriter::Exported(const std::wstring& path, int count, bool made)
{
    if (m_json)
        WriteJson(m_data, "exported", Json{{"path", ToUtf8(path)}, {"count", count}});
    else if (made)
        PrintLine("listed " +
                  RecordFields::Counted(static_cast<std::uint64_t>(count), "pending file", "pending files") + " in " +
                  ToUtf8(ShownPath(path)) + "\n");
}

void RecordWriter::Queued(const QueueDatum& datum)
{
    if (m_json)
        WriteJson(m_data, "queued", RecordFields::OfPending(datum));
    else
        PrintLine("queued " + RecordFields::PendingLine(datum));
}

void RecordWriter::ExclusionMet(const ExcludedInfo& excluded)
{
    const char* kind = excluded.kind != 0 ? "folder" : "file";
    if (m_json)
        WriteJson(m_data, "excluded", Json{{"path", ToUtf8(excluded.path.View())}, {"kind", kind}});
    else
        PrintLine(std::string("excluded ") + kind + " " + ToUtf8(ShownPath(excluded.path.View())) + "\n");
}

void RecordWriter::Added(std::optional<std::uint64_t> queued, std::uint64_t exclusions, int exitCode,
                         const std::string& whyNot)
{
    if (m_json) {
        const Json count = queued ? Json(*queued) : Json(nullptr);
        WriteJson(m_data, "summary", Json{{"queued", count}, {"excluded", exclusions}, {"exit", exitCode}});
        return;
    }
    if (!whyNot.empty())
        return PrintLine("nothing was queued: " + whyNot + "\n");
    const std::string what = queued ? "queued " + std::to_string(*queued) : "taken by the running watch";
    PrintLine(what + ", exclusions " + std::to_string(exclusions) + "\n");
}

void RecordWriter::Total(std::size_t step, const std::wstring& edit, const SizeTotal& total)
{
    if (m_json)
        WriteJson(m_data, "total",
                  Json{{"step", step}, {"edit", ToUtf8(edit)}, {"files", total.files}, {"size", total.bytes}});
    else
        PrintLine(RecordFields::SizeLine(total, ShownEdit(edit)));
}

void RecordWriter::SizeRow(const char* type, const char* label, const CString& name, const SizeTotal& total, bool shown)
{
    if (m_json)
        WriteJson(m_data, type, Json{{"name", ToUtf8(name.View())}, {"files", total.files}, {"size", total.bytes}});
    else if (shown)
        PrintLine(
            RecordFields::SizeLine(total, FromUtf8(label) + (name.IsEmpty() ? L"(none)" : ShownPath(name.View()))));
}

void RecordWriter::FolderRows(const std::vector<Estimate::Folder>& rows, PathSpelling& spelling)
{
    const std::size_t shown = m_json ? rows.size() : std::min(rows.size(), RowsForPeople);
    for (std::size_t i = 0; i < shown; ++i)
        SizeRow("folder", "folder ", spelling.Of(std::wstring(rows[i].path.View())).c_str(), rows[i].total, true);
}

void RecordWriter::ExtensionRows(const std::vector<Estimate::Extension>& rows)
{
    for (std::size_t i = 0; i < rows.size(); ++i)
        SizeRow("extension", "kind ", rows[i].extension, rows[i].total, i < RowsForPeople);
}

void RecordWriter::LeftOut(const Estimate::LeftOut& row)
{
    const auto rule = [&](PathForm form) { return RuleText(row.rule, form); };
    if (m_json)
        WriteJson(
            m_data, "leftOut",
            Json{{"files", row.total.files}, {"size", row.total.bytes}, {"rule", ToUtf8(rule(PathForm::AsItIs))}});
    else
        PrintLine(RecordFields::SizeLine(row.total, L"left out: " + HarmlessText(rule(PathForm::ToBePasted))));
}

void RecordWriter::Summary(const SizeTotal& total, std::uint64_t unreadable, int exitCode)
{
    if (m_json)
        WriteJson(m_data, "summary",
                  Json{{"files", total.files}, {"size", total.bytes}, {"unreadable", unreadable}, {"exit", exitCode}});
    else if (unreadable != 0)
        PrintLine("could not be read: " + std::to_string(unreadable) + "\n");
}

void RecordWriter::Finding(const Check& check)
{
    const std::string state = NameOf(check.state);
    if (m_json) {
        Json fields = {{"name", check.name}, {"state", state}, {"text", ToUtf8(check.text)}};
        if (!check.path.empty())
            fields["path"] = ToUtf8(check.path);
        WriteJson(m_data, "check", fields);
        return;
    }
    const std::string path = check.path.empty() ? "" : ToUtf8(ShownPath(check.path)) + ": ";
    PrintLine(state + std::string(9 - state.size(), ' ') + check.name + ": " + path + ToUtf8(HarmlessText(check.text)) +
              "\n");
}

void RecordWriter::Findings(std::size_t good, std::size_t warnings, std::size_t failures, int exitCode)
{
    if (m_json)
        WriteJson(m_data, "summary",
                  Json{{"ok", good}, {"warnings", warnings}, {"failed", failures}, {"exit", exitCode}});
    else
        Print(m_data, std::to_string(good) + " ok, " + std::to_string(warnings) +
                          (warnings == 1 ? " warning, " : " warnings, ") + std::to_string(failures) + " failed\n");
}

ExitCode RecordWriter::Text(const std::string& text)
{
    Print(m_data, text);
    return Good() ? ExitDone : ExitFailure;
}

void RecordWriter::Error(const std::wstring& message, const std::wstring& path) { Tell("error", message, path); }

void RecordWriter::Note(const std::wstring& message, const std::wstring& path)
{
    if (m_noted.size() >= MostNotesKept)
        m_noted.clear();
    if (m_noted.insert(path + L"\n" + message).second)
        Tell("note", message, path);
}

void RecordWriter::Tell(const char* type, const std::wstring& message, const std::wstring& path)
{
    if (!m_json) {
        const std::string text = (path.empty() ? "" : ToUtf8(ShownPath(path)) + ": ") + ToUtf8(HarmlessText(message));
        const bool error = std::string_view(type) == "error";
        Print(m_errors, "orbwatch: " + (error ? m_errors.colours.Error(text) : m_errors.colours.Warning(text)) + "\n");
        return;
    }
    Json fields = {{"message", ToUtf8(message)}};
    if (!path.empty())
        fields["path"] = ToUtf8(path);
    WriteJson(m_errors, type, fields);
}
