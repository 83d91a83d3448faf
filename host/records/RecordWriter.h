// The output of orbwatch: one JSON object a line, or lines for people. Records go to standard output, errors and notes
// to standard error, each stream with its own numbers; each record is flushed at once. Progress is shown on a terminal
// only, and is erased before anything else is printed there. One thread.
#pragma once

#include "host/Colours.h"
#include "host/ExitCode.h"
#include "host/ProgressLine.h"
#include "host/records/RecordKind.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <cstdio>
#include <set>
#include <string>

class RecordWriter
{
public:
    static constexpr RecordKind ErrorKind{"error", "what went wrong, and with which path; on standard error"};
    static constexpr RecordKind NoteKind{"note", "something that a person should know, said once; on standard error"};

    // Errors go to standard error.
    RecordWriter(FILE* data, bool json);
    RecordWriter(const OutputStream& data, const OutputStream& errors, bool json);

    // Prints a record; records/Record.h says what one is.
    template <typename Record>
    void Write(const Record& record)
    {
        if (m_json)
            WriteJson(m_data, Record::Kind, record.Fields());
        else
            WriteLine(record.Line());
    }
    // A page or a script, printed as it is.
    ExitCode Text(const std::string& text);
    // `path` may be empty.
    void Error(const std::wstring& message, const std::wstring& path = L"");
    // A message that a person should know. It is printed once, however often it occurs.
    void Note(const std::wstring& message, const std::wstring& path = L"");

    // `now`: from Seconds.
    void Progress(const EnumerationProgress& progress, double now) { m_progress.Show(progress, now); }
    void Progress(const ScanProgress& progress, double now) { m_progress.Show(progress, now); }
    void EndProgress() { m_progress.Erase(); }

    // Returns false once standard output cannot be written any more.
    bool Good() const { return !std::ferror(m_data.file); }

private:
    struct Stream {
        FILE* file;
        std::uint64_t seq;
        Colours colours;
    };

    void WriteJson(Stream& to, const RecordKind& kind, const nlohmann::ordered_json& fields);
    void WriteLine(const std::string& line);
    void Print(Stream& to, const std::string& lines);
    void Tell(const RecordKind& kind, const std::wstring& message, const std::wstring& path);

    Stream m_data;
    Stream m_errors;
    ProgressLine m_progress;
    const bool m_dataOnTerminal;
    const bool m_json;
    std::set<std::wstring> m_noted;
};
