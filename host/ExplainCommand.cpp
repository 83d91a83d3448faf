#include "host/ExplainCommand.h"

#include "host/Console.h"
#include "host/LibraryMessages.h"

#include <fcntl.h>
#include <io.h>

#include <iostream>

namespace
{

bool IsAbsolute(const std::wstring& path)
{
    return path.starts_with(L"\\\\") || (path.size() > 2 && path[1] == L':' && path[2] == L'\\');
}

// Explains one path after the other, and reports failures.
class Explainer
{
public:
    Explainer(COrbWatcher& watcher, RecordWriter& writer) : m_watcher(watcher), m_writer(writer) {}

    void Explain(const std::wstring& path)
    {
        // A change reports a path in the system's form.
        const std::wstring full = IsAbsolute(path) ? path : FullPath(path);
        const std::wstring asked = OrbFilter::SystemForm(full.c_str()).GetString();
        m_writer.Explain(path, m_watcher.Explain(asked.c_str()));
        for (const LibraryMessages::Line& line : m_messages.Take())
            if (!line.finding)
                m_writer.Note(line.text);
    }

    // Returns false when a line is no valid text.
    bool ExplainStandardInput();

private:
    COrbWatcher& m_watcher;
    RecordWriter& m_writer;
    LibraryMessages m_messages{LibraryMessages::Keep::Failures};
};

// Removes a byte order mark at the beginning, as editors write it, and Windows line ends.
std::string_view Trimmed(std::string_view line, bool first)
{
    if (first && line.starts_with("\xEF\xBB\xBF"))
        line.remove_prefix(3);
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    return line;
}

bool Explainer::ExplainStandardInput()
{
    _setmode(_fileno(stdin), _O_BINARY);
    int number = 0;
    for (std::string text; m_writer.Good() && std::getline(std::cin, text);) {
        const std::string_view line = Trimmed(text, number++ == 0);
        if (!IsUtf8(line)) {
            m_writer.Error(L"line " + std::to_wstring(number) +
                           L" of standard input is not UTF-8; save the list as UTF-8");
            return false;
        }
        if (!line.empty())
            Explain(FromUtf8(line));
    }
    return true;
}

} // namespace

ExitCode RunExplain(const ExplainOptions& options, RecordWriter& writer)
{
    EndWhenInterrupted();
    COrbWatcher watcher(false);
    watcher.Init();
    if (LoadSelection(watcher, options.files, writer) == SelectionState::Unusable)
        return ExitUsage;
    Explainer explainer(watcher, writer);
    for (const std::wstring& path : options.paths)
        if (path != L"-")
            explainer.Explain(path);
        else if (!explainer.ExplainStandardInput())
            return ExitUsage;
    return writer.Good() ? ExitDone : ExitFailure;
}
