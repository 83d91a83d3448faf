// The help of a command beside its options: examples, the records that it prints, and how it ends. Any thread.
#pragma once

#include "host/ExitCode.h"
#include "host/records/RecordKind.h"

#include <string>
#include <vector>

struct EndCode {
    ExitCode code;
    const char* meaning;
};

inline constexpr EndCode EndDone{ExitDone, "done"};
inline constexpr EndCode EndFailed{ExitFailure, "failure"};
inline constexpr EndCode EndUnwritten{ExitFailure, "standard output cannot be written"};
inline constexpr EndCode EndRefused{ExitUsage, "wrong usage or unreadable input"};
inline constexpr EndCode EndSomeUnread{ExitSomeUnreadable,
                                       "done, but a part of the selection was left out or could not be read, or no "
                                       "running mark could be made, or settings or the dump could not be written"};
inline constexpr EndCode EndOutOfTime{ExitTimeLimit, "the time limit has come (--timeout)"};
inline constexpr EndCode EndInterrupted{ExitInterrupted, "interrupted (Ctrl-C)"};

struct CommandHelp {
    const char* name; // empty: the program
    const char* summary;
    bool hidden = false; // has nothing of what follows
    std::vector<const char*> examples = {};
    const char* text = "\n"; // lines; the first one is empty
    std::vector<RecordKind> records = {};
    std::vector<EndCode> ends = {};
};

CommandHelp ProgramHelp();
// Returns the text that follows the options.
std::string FooterOf(const CommandHelp& help);
