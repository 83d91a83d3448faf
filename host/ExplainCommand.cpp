#include "host/ExplainCommand.h"

#include "host/Console.h"

#include <fcntl.h>
#include <io.h>

#include <iostream>

namespace
{

bool IsAbsolute(const std::wstring& path)
{
    return path.starts_with(L"\\\\") || (path.size() > 2 && path[1] == L':' && path[2] == L'\\');
}

void ExplainOne(COrbWatcher& watcher, const std::wstring& path, RecordWriter& writer)
{
    // What is absolute is asked as it stands, as a change reports it.
    const std::wstring asked = IsAbsolute(path) ? path : FullPath(path);
    writer.Explain(path, watcher.Explain(asked.c_str()));
}

// A mark at the beginning, as editors write it, and Windows line ends.
std::string_view Trimmed(std::string_view line, bool first)
{
    if (first && line.starts_with("\xEF\xBB\xBF"))
        line.remove_prefix(3);
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    return line;
}

bool ExplainStandardInput(COrbWatcher& watcher, RecordWriter& writer)
{
    _setmode(_fileno(stdin), _O_BINARY);
    int number = 0;
    for (std::string text; writer.Good() && std::getline(std::cin, text);) {
        const std::string_view line = Trimmed(text, number++ == 0);
        if (!IsUtf8(line)) {
            writer.Error(L"line " + std::to_wstring(number) + L" of standard input is not UTF-8");
            return false;
        }
        if (!line.empty())
            ExplainOne(watcher, FromUtf8(line), writer);
    }
    return true;
}

} // namespace

ExitCode RunExplain(const ExplainOptions& options, RecordWriter& writer)
{
    EndWhenInterrupted();
    COrbWatcher watcher(false);
    watcher.Init();
    if (!LoadSelection(watcher, options.files, writer))
        return ExitUsage;
    for (const std::wstring& path : options.paths)
        if (path != L"-")
            ExplainOne(watcher, path, writer);
        else if (!ExplainStandardInput(watcher, writer))
            return ExitUsage;
    return writer.Good() ? ExitDone : ExitFailure;
}
