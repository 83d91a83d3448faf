// The help of a command beside its options: examples, the records that it prints, and how it ends. Any thread.
#pragma once

#include "host/ExitCode.h"
#include "host/records/RecordKind.h"

#include <string>
#include <string_view>
#include <vector>

struct EndCode {
    ExitCode code;
    const char* meaning;
};
struct CommandHelp {
    const char* command; // empty: the program
    std::vector<const char*> examples;
    const char* text; // lines
    std::vector<RecordKind> records;
    std::vector<EndCode> ends;
};

const CommandHelp& HelpOf(std::string_view command);
// Returns the text that follows the options.
std::string FooterOf(const CommandHelp& help);
