// The output of orbwatch: one JSON object a line, or lines for people. Records go to standard output, errors and notes
// to standard error, each stream with its own numbers; each record is flushed at once. Progress is shown on a terminal
// only, and is erased before anything else is printed there. One thread.
#pragma once

#include "host/Colours.h"
#include "host/EnumerationSummary.h"
#include "host/ExitCode.h"
#include "host/PathSpelling.h"
#include "host/ProgressLine.h"
#include "host/doctor/Check.h"
#include "orbwatcher4/Estimate.h"
#include "orbwatcher4/OrbWatcher.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <cstdio>
#include <optional>
#include <set>
#include <string>
#include <vector>

class RecordWriter
{
public:
    // Errors go to standard error.
    RecordWriter(FILE* data, bool json);
    RecordWriter(const OutputStream& data, const OutputStream& errors, bool json);

    void Ready(const std::vector<CString>& roots) { WriteRoots("ready", roots); }
    // The watched roots have changed: a drive came or went.
    void Roots(const std::vector<CString>& roots) { WriteRoots("roots", roots); }
    void Pending(const QueueDatum& datum);
    void Explain(const std::wstring& path, const PathExplanation& explanation);
    void Deleted(const DeletionRecord& record);
    void Rescan(const CString& root, const std::string& reason);
    // A path of the selection that could not be looked at, or that no backup holds.
    void Skipped(const PassedOverPath& skipped);
    // Returns why, in words.
    static const char* WordsOf(const PassedOverPath& skipped);
    // The number of pending entries, while nothing is handed out.
    void Collected(std::int64_t pending);
    void Summary(std::uint64_t handedOut, std::int64_t pending, int exitCode);
    void Summary(const EnumerationSummary& summary);
    // For an estimate: the total after a step, rows with the largest first (for people, only the first rows), and what
    // a rule leaves out.
    void Total(std::size_t step, const std::wstring& edit, const SizeTotal& total);
    // `spelling` gives the folders their names on the disk.
    void FolderRows(const std::vector<Estimate::Folder>& rows, PathSpelling& spelling);
    void ExtensionRows(const std::vector<Estimate::Extension>& rows);
    void LeftOut(const Estimate::LeftOut& row);
    void Summary(const SizeTotal& total, std::uint64_t unreadable, int exitCode);
    // `now`: from Seconds.
    void Progress(const EnumerationProgress& progress, double now) { m_progress.Show(progress, now); }
    void Progress(const ScanProgress& progress, double now) { m_progress.Show(progress, now); }
    void EndProgress() { m_progress.Erase(); }
    void Created(const std::wstring& path);
    // A list of the pending files, and how many files were added to it. `made`: false when there was nothing to list.
    void Exported(const std::wstring& path, int count, bool made);
    // For added rules: the files that they select, and the exclusions among them. Without a number of queued files, a
    // running watch has taken the rules, and hands out their files. `whyNot`: the reason when no rule was taken.
    void Queued(const QueueDatum& datum);
    void ExclusionMet(const ExcludedInfo& excluded);
    void Added(std::optional<std::uint64_t> queued, std::uint64_t exclusions, int exitCode,
               const std::string& whyNot = "");
    // For an overlay service.
    void OverlayReady();
    void Overlay(const std::wstring& path, std::int32_t status, const std::string& meaning);
    void OverlaySummary(std::uint64_t requests, std::uint64_t paths, int exitCode);
    // For the doctor.
    void Finding(const Check& check);
    void Findings(std::size_t good, std::size_t warnings, std::size_t failures, int exitCode);
    // A page or a script, printed as it is.
    ExitCode Text(const std::string& text);
    // `path` may be empty.
    void Error(const std::wstring& message, const std::wstring& path = L"");
    // A message that a person should know. It is printed once, however often it occurs.
    void Note(const std::wstring& message, const std::wstring& path = L"");

    // Returns false once standard output cannot be written any more.
    bool Good() const { return !std::ferror(m_data.file); }

private:
    struct Stream {
        FILE* file;
        std::uint64_t seq;
        Colours colours;
    };

    void WriteJson(Stream& to, const char* type, const nlohmann::ordered_json& fields);
    void Print(Stream& to, const std::string& lines);
    // Prints a record for people, of one line or more.
    void PrintLine(const std::string& line);
    void Tell(const char* type, const std::wstring& message, const std::wstring& path);
    void SizeRow(const char* type, const char* label, const CString& name, const SizeTotal& total, bool shown);
    void WriteRoots(const char* type, const std::vector<CString>& roots);

    Stream m_data;
    Stream m_errors;
    ProgressLine m_progress;
    const bool m_dataOnTerminal;
    const bool m_json;
    std::set<std::wstring> m_noted;
};
