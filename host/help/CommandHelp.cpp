#include "host/help/CommandHelp.h"

#include "host/records/AddRecords.h"
#include "host/records/DoctorRecords.h"
#include "host/records/EnumerationRecords.h"
#include "host/records/EstimateRecords.h"
#include "host/records/ExplainRecord.h"
#include "host/records/ExportRecords.h"
#include "host/records/FileRecords.h"
#include "host/records/OverlayRecords.h"
#include "host/records/RecordWriter.h"
#include "host/records/WatchRecords.h"

#include <stdexcept>

namespace
{

constexpr std::size_t FirstColumn = 14; // the width of the longest kind of a record, and two blanks

constexpr EndCode Done{ExitDone, "done"};
constexpr EndCode Failed{ExitFailure, "failure"};
constexpr EndCode Refused{ExitUsage, "wrong usage or unreadable input"};
constexpr EndCode SomeUnread{ExitSomeUnreadable,
                             "done, but a part of the selection was left out or could not be read, or no "
                             "running mark could be made, or settings or the dump could not be written"};
constexpr EndCode OutOfTime{ExitTimeLimit, "the time limit has come (--timeout)"};
constexpr EndCode Interrupted{ExitInterrupted, "interrupted (Ctrl-C)"};

const CommandHelp commands[] = {
    {"",
     {"orbwatch init C:\\selection",
      "orbwatch watch --data C:\\selection\\selection.xml --index C:\\selection\\index.db --record",
      "orbwatch doctor --data C:\\selection\\selection.xml --index C:\\selection\\index.db", "orbwatch watch --help"},
     "Records go to standard output, errors and notes to standard error. With --json each is one JSON object a line\n"
     "with its type, its number on the stream (seq) and the time (UTC); without, lines are for people, with colours "
     "on\n"
     "a terminal unless the environment variable NO_COLOR is set (or TERM is dumb). The product's data folder is\n"
     "%ProgramData%\\OrbWatcher4, or the one that ORB_DATA_FOLDER or --data-folder names. It belongs to one selection "
     "and\n"
     "one index, and serves one command at a time; a running watch answers the others.\n"
     "Files and folders may be named from the folder that the command runs in, but for --destination: it needs a full\n"
     "path, with its drive or share. Output that goes to a file is itself a changed file when the selection includes "
     "it.\n"
     "orbwatch leaves out the file that its own output goes to (>), but not one that another program writes (| tee):\n"
     "write that one elsewhere.",
     {RecordWriter::ErrorKind, RecordWriter::NoteKind},
     {Done, Failed, Refused, SomeUnread, OutOfTime, Interrupted}},
    {"watch",
     {"orbwatch watch --data selection.xml --index index.db --record --json",
      "orbwatch watch --data selection.xml --index index.db --enumerate --until-quiet 5"},
     "With a new data folder or index, everything that the selection includes is looked at first, and what the index\n"
     "does not hold as it is now is handed out. The same happens after a kill, and when the index is lost or another "
     "one,\n"
     "when the settings are damaged, or when what the last watch left pending is: a note says why.\n"
     "Ctrl-C ends it, and so does the event Local\\orbwatch-interrupt-PID; what is still pending comes first at the\n"
     "next start. With --record a file gets into the index within half a second after its record; a watch that is\n"
     "killed before hands it out again.",
     {WatchReadyRecord::Kind, RootsRecord::Kind, PendingRecord::Kind, DeletedRecord::Kind, RescanRecord::Kind,
      SkippedRecord::Kind, CollectedRecord::Kind, WatchSummaryRecord::Kind},
     {Done, Failed, Refused, SomeUnread, OutOfTime, Interrupted}},
    {"enumerate",
     {"orbwatch enumerate --data selection.xml --index index.db --record --json"},
     "What the index holds and the disk does not comes as deleted. The last record sums up what was found. On a\n"
     "terminal, standard error shows how it goes. After Ctrl-C or the time limit, what is still pending comes first "
     "at\n"
     "the next start.",
     {PendingRecord::Kind, DeletedRecord::Kind, RescanRecord::Kind, SkippedRecord::Kind,
      EnumerationSummaryRecord::Kind},
     {Done, Failed, Refused, SomeUnread, OutOfTime, Interrupted}},
    {"explain",
     {"orbwatch explain --data selection.xml \"C:\\Users\\me\\Documents\\letter.doc\"",
      "orbwatch explain --data selection.xml --json - <paths.txt"},
     "The path need not exist. The rule that decides is marked with >. A text that no file can have as its path is an\n"
     "error (2), and the other paths are explained: a device (CON), a wildcard, or nothing but spaces.",
     {ExplainRecord::Kind},
     {Done, {ExitFailure, "standard output cannot be written"}, Refused, Interrupted}},
    {"add",
     {"orbwatch add --data selection.xml --index index.db --rules new.xml"},
     "A watch that runs on the same data folder takes the rules at once; otherwise what they select comes first at "
     "the\n"
     "next watch.",
     {QueuedRecord::Kind, ExcludedRecord::Kind, SkippedRecord::Kind, AddSummaryRecord::Kind},
     {Done, Failed, Refused, SomeUnread, Interrupted}},
    {"export",
     {"orbwatch export --data selection.xml --index index.db --to pending.xml --max 1000"},
     "A watch that runs on the same data folder is asked; otherwise it is what the last one has left. An older list "
     "is\n"
     "replaced, when nothing is pending by an empty one. A file that is no list, and one that this command reads, is\n"
     "not written over. After a kill, and as long as an enumeration is due or running, not everything that is pending\n"
     "is known: the list is then made of what is known, and the exit code is 3. A data folder and an index that are "
     "not\n"
     "there are not made. When the settings are lost or damaged, the list is made of what the last watch has left, "
     "and\n"
     "the exit code is 3. When --max leaves something out, a note says how many more wait (with the deletions that\n"
     "wait), and the exit code stays 0: the list is as it was asked for.",
     {ExportedRecord::Kind},
     {Done,
      Failed,
      Refused,
      {ExitSomeUnreadable, "done, but the list is not complete, or not all of the selection could be read"},
      Interrupted}},
    {"estimate",
     {"orbwatch estimate --data selection.xml --exclude C:\\Videos --report estimate.html",
      "orbwatch estimate --data selection.xml --profile 1 --profile 2"},
     "Everything is scanned once; edits are counted one after the other, in their order, without a look at the disk "
     "for\n"
     "what was scanned. An edit of a path that is not there changes nothing: a note names it, and the exit code is 3.\n"
     "The edits change no file. Advanced filters are not asked; they may leave out more.\n"
     "A report replaces an older report, and no other file.",
     {TotalRecord::Kind, FolderRecord::Kind, ExtensionRecord::Kind, LeftOutRecord::Kind, SkippedRecord::Kind,
      CreatedRecord::Kind, EstimateSummaryRecord::Kind},
     {Done, Failed, Refused, SomeUnread, Interrupted}},
    {"overlay",
     {"orbwatch overlay --json", "orbwatch overlay --fault late --after 10 --times 3"},
     "It stands in for the service that draws status icons, with \"orbwatch watch --overlay\" beside it on the same "
     "data\n"
     "folder. Ctrl-C ends it.",
     {OverlayReadyRecord::Kind, OverlayRecord::Kind, OverlaySummaryRecord::Kind},
     {Failed, Refused, Interrupted}},
    {"init",
     {"orbwatch init C:\\selection"},
     "Files that are there already are never overwritten: then nothing is written.",
     {CreatedRecord::Kind},
     {Done, Failed, Refused}},
    {"doctor",
     {"orbwatch doctor", "orbwatch doctor --data selection.xml --index index.db"},
     "It looks at the settings, the log and the runs of the data folder, at the index and the selection that are "
     "named\n"
     "and the drives of the selection, and at the machine: whether changes are told, limits, free space. It "
     "tries\n"
     "these things in a temporary folder of its own, and with a temporary file in the data folder and in the folder "
     "of\n"
     "the index. An enumeration that is due is told with its reason. It is a warning when it makes up for something\n"
     "that was lost (a killed watch, the dump, the index), and otherwise ok: the next watch makes it anyway.",
     {CheckRecord::Kind, DoctorSummaryRecord::Kind},
     {Done,
      {ExitFailure, "a check failed"},
      Refused,
      {ExitSomeUnreadable, "no check failed, and there are warnings"},
      Interrupted}},
    {"completion",
     {". <(orbwatch completion bash)", "orbwatch completion powershell | Out-String | Invoke-Expression"},
     "Put such a line into the file that the shell reads at its start. Commands, options, their words, the profiles "
     "of\n"
     "the selection that is named and paths are completed.",
     {},
     {Done, {ExitFailure, "standard output cannot be written"}, Refused}},
};

std::string Row(std::string_view first, const char* second)
{
    std::string row = "  " + std::string(first);
    row.append(FirstColumn > row.size() ? FirstColumn - row.size() : 1, ' ');
    return row + second + "\n";
}

} // namespace

const CommandHelp& HelpOf(std::string_view command)
{
    for (const CommandHelp& help : commands)
        if (help.command == command)
            return help;
    throw std::logic_error("a command without help: " + std::string(command));
}

std::string FooterOf(const CommandHelp& help)
{
    std::string footer = "Example:\n";
    for (const char* example : help.examples)
        footer += std::string("  ") + example + "\n";
    footer += std::string(help.text) + "\n";
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
