// The commands of orbwatch, with their options and help.
#pragma once

#include "host/ExitCode.h"
#include "host/OverlayCommand.h"
#include "host/Selection.h"
#include "host/completion/Completion.h"
#include "host/records/RecordWriter.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <limits>
#include <string>
#include <vector>

// The command line as it was typed: UTF-8 for the parser; Path converts paths for the system.
struct Arguments {
    std::string data, autoExclude, advanced, secondary, index, destination, folder, dataFolder, logLevel;
    std::vector<std::string> paths;
    bool json = false;
    bool hidden = false;
    bool record = false;
    bool enumerate = false;
    bool collect = false;
    bool takeOver = false;
    std::uint64_t maxEvents = 0;
    double timeout = 0;
    double untilQuiet = 0;
    std::string to, rules;
    int most = std::numeric_limits<int>::max();
    bool deleteWhenDone = false;
    bool mergeOnly = false;
    bool force = false;
    std::string stats, mask, report;
    std::vector<std::string> includes, excludes;
    std::vector<int> profiles;
    bool overlay = false;
    OverlayOptions service;
    Shell shell = Shell::Bash;

    SelectionFiles Files() const;
    static std::wstring Path(const std::string& text);
};

struct Command {
    const CLI::App* app;
    std::function<ExitCode(RecordWriter&)> run;
};

// Both arguments must outlive the commands.
std::vector<Command> AddCommands(CLI::App& app, Arguments& arguments);
