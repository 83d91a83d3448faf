#include "host/help/CommandHelp.h"

#include "host/records/RecordWriter.h"

#include <string_view>

namespace
{

constexpr std::size_t FirstColumn = 14; // the width of the longest kind of a record, and two blanks

std::string Row(std::string_view first, const char* second)
{
    std::string row = "  " + std::string(first);
    row.append(FirstColumn > row.size() ? FirstColumn - row.size() : 1, ' ');
    return row + second + "\n";
}

} // namespace

CommandHelp ProgramHelp()
{
    return {.name = "",
            .summary = "Watches a backup selection and hands out what changed.",
            .examples = {"orbwatch init C:\\selection",
                         "orbwatch watch --data C:\\selection\\selection.xml --index C:\\selection\\index.db --record",
                         "orbwatch doctor --data C:\\selection\\selection.xml --index C:\\selection\\index.db",
                         "orbwatch watch --help"},
            .text = R"(
Records go to standard output, errors and notes to standard error. With --json each is one JSON object a line
with its type, its number on the stream (seq) and the time (UTC); without, lines are for people, with colours on
a terminal unless the environment variable NO_COLOR is set (or TERM is dumb). The product's data folder is
%ProgramData%\OrbWatcher4, or the one that ORB_DATA_FOLDER or --data-folder names. It belongs to one selection and
one index, and serves one command at a time; a running watch answers the others.
Files and folders may be named from the folder that the command runs in, but for --destination: it needs a full
path, with its drive or share. Output that goes to a file is itself a changed file when the selection includes it.
orbwatch leaves out the file that its own output goes to (>), but not one that another program writes (| tee):
write that one elsewhere.)",
            .records = {RecordWriter::ErrorKind, RecordWriter::NoteKind},
            .ends = {EndDone, EndFailed, EndRefused, EndSomeUnread, EndOutOfTime, EndInterrupted}};
}

std::string FooterOf(const CommandHelp& help)
{
    std::string footer = "Example:\n";
    for (const char* example : help.examples)
        footer += std::string("  ") + example + "\n";
    footer += std::string(help.text + 1) + "\n";
    if (!help.records.empty())
        footer += "Records:\n";
    for (const RecordKind& record : help.records)
        footer += Row(record.name, record.meaning);
    footer += "Exit codes:\n";
    for (const EndCode& end : help.ends)
        footer += Row(std::to_string(end.code), end.meaning);
    footer.pop_back(); // the parser adds the newline
    return footer;
}
