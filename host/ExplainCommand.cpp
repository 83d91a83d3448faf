#include "host/ExplainCommand.h"

#include "host/Console.h"

#include <fcntl.h>
#include <io.h>

#include <iostream>

namespace
{

void ExplainOne(COrbWatcher& watcher, const std::wstring& path, RecordWriter& writer)
{
    writer.Explain(path, watcher.Explain(path.c_str()));
}

void ExplainStandardInput(COrbWatcher& watcher, RecordWriter& writer)
{
    _setmode(_fileno(stdin), _O_BINARY);
    for (std::string line; std::getline(std::cin, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (!line.empty())
            ExplainOne(watcher, FromUtf8(line), writer);
    }
}

} // namespace

ExitCode RunExplain(const ExplainOptions& options, RecordWriter& writer)
{
    COrbWatcher watcher(false);
    watcher.Init();
    if (!LoadSelection(watcher, options.files, writer))
        return ExitUsage;
    for (const std::wstring& path : options.paths)
        if (path == L"-")
            ExplainStandardInput(watcher, writer);
        else
            ExplainOne(watcher, path, writer);
    return writer.Good() ? ExitDone : ExitFailure;
}
