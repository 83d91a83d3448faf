#include "host/ExplainCommand.h"

#include "host/Console.h"
#include "host/LibraryMessages.h"

#include <fcntl.h>
#include <io.h>

#include <iostream>

namespace
{

// Explains one path after the other, and reports failures.
class Explainer
{
public:
    Explainer(COrbWatcher& watcher, RecordWriter& writer) : m_watcher(watcher), m_writer(writer) {}

    // Returns false for a text that can be no path.
    bool Explain(const std::wstring& path)
    {
        if (path.find(L'"') != std::wstring::npos) {
            m_writer.Error(L"this is no path: it holds a quotation mark. Leave the mark out; in a command line, leave "
                           L"out the backslash before a closing mark, too",
                           path);
            return false;
        }
        // A change reports a path in the system's form.
        const std::wstring full = IsFullPath(path) ? path : FullPath(path);
        if (!path.empty() && !IsFullPath(path))
            m_writer.Note(L"this is no full path; it is taken from the folder that the command runs in, as " + full,
                          path);
        const std::wstring asked = OrbFilter::SystemForm(full.c_str()).GetString();
        m_writer.Explain(path, m_watcher.Explain(asked.c_str()));
        for (const LibraryMessages::Line& line : m_messages.Take())
            if (!line.finding)
                m_writer.Note(line.text);
        return true;
    }

    // Returns false when there is no path, and when a line is none.
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
    bool any = false, good = true;
    for (std::string text; m_writer.Good() && std::getline(std::cin, text);) {
        const std::string_view line = Trimmed(text, number++ == 0);
        if (!IsUtf8(line)) {
            m_writer.Error(L"line " + std::to_wstring(number) +
                           L" of standard input is not UTF-8; save the list as UTF-8");
            return false;
        }
        if (line.empty())
            continue;
        any = true;
        good = Explain(FromUtf8(line)) && good;
    }
    if (!any)
        m_writer.Error(L"standard input holds no path; write one path a line, in UTF-8");
    return any && good;
}

} // namespace

ExitCode RunExplain(const ExplainOptions& options, RecordWriter& writer)
{
    EndWhenInterrupted();
    COrbWatcher watcher(false);
    watcher.Init();
    if (LoadSelection(watcher, options.files, writer) == SelectionState::Unusable)
        return ExitUsage;
    watcher.SetDestBackupFolderDB(options.outside.destination.c_str());
    watcher.SetIndexDB(options.outside.index.c_str());
    Explainer explainer(watcher, writer);
    bool good = true;
    for (const std::wstring& path : options.paths)
        good = (path == L"-" ? explainer.ExplainStandardInput() : explainer.Explain(path)) && good;
    return !writer.Good() ? ExitFailure : good ? ExitDone : ExitUsage;
}
