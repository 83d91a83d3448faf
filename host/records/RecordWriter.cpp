#include "host/records/RecordWriter.h"

#include "host/records/Record.h"
#include "support/HarmlessText.h"

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

void RecordWriter::Print(Stream& to, const std::string& lines)
{
    if (&to == &m_errors || m_dataOnTerminal)
        m_progress.Erase();
    std::fwrite(lines.data(), 1, lines.size(), to.file);
    std::fflush(to.file);
}

void RecordWriter::WriteJson(Stream& to, const RecordKind& kind, const RecordFields& fields)
{
    RecordFields object = {{"type", kind.name}, {"seq", ++to.seq}, {"time", RecordText::Now()}};
    object.update(fields);
    Print(to, HarmlessJson(object.dump(-1, ' ', false, RecordFields::error_handler_t::replace)) + "\n");
}

void RecordWriter::WriteLine(const std::string& line)
{
    if (!line.empty())
        Print(m_data, m_data.colours.Line(line) + "\n");
}

ExitCode RecordWriter::Text(const std::string& text)
{
    Print(m_data, text);
    return Good() ? ExitDone : ExitFailure;
}

void RecordWriter::Error(const std::wstring& message, const std::wstring& path) { Tell(ErrorKind, message, path); }

void RecordWriter::Note(const std::wstring& message, const std::wstring& path)
{
    constexpr std::size_t mostKept = 1000;
    if (m_noted.size() >= mostKept)
        m_noted.clear();
    if (m_noted.insert(path + L"\n" + message).second)
        Tell(NoteKind, message, path);
}

void RecordWriter::Tell(const RecordKind& kind, const std::wstring& message, const std::wstring& path)
{
    if (!m_json) {
        const std::string text = (path.empty() ? "" : RecordText::Path(path) + ": ") + ToUtf8(HarmlessText(message));
        const bool error = kind.name == ErrorKind.name;
        Print(m_errors, "orbwatch: " + (error ? m_errors.colours.Error(text) : m_errors.colours.Warning(text)) + "\n");
        return;
    }
    RecordFields fields = {{"message", ToUtf8(message)}};
    if (!path.empty())
        fields["path"] = ToUtf8(path);
    WriteJson(m_errors, kind, fields);
}
