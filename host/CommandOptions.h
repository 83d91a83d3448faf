// The options of each command, as the parser and the help know them. The type of an option names its value: the shell
// completes FILE, FOLDER and PATH as paths, PROFILE as one of the selection's profiles, and a|b|c as one of these
// words.
#pragma once

#include "host/Commands.h"

// Each function adds its command; `arguments` must outlive it.
CLI::App* AddWatch(CLI::App& app, Arguments& arguments);
CLI::App* AddEnumerate(CLI::App& app, Arguments& arguments);
CLI::App* AddExplain(CLI::App& app, Arguments& arguments);
CLI::App* AddAdd(CLI::App& app, Arguments& arguments);
CLI::App* AddExport(CLI::App& app, Arguments& arguments);
CLI::App* AddEstimate(CLI::App& app, Arguments& arguments);
CLI::App* AddOverlay(CLI::App& app, Arguments& arguments);
CLI::App* AddInit(CLI::App& app, Arguments& arguments);
CLI::App* AddDoctor(CLI::App& app, Arguments& arguments);
CLI::App* AddCompletion(CLI::App& app, Arguments& arguments);

// Makes an empty path a wrong command line; call it when all commands are added.
void RefuseEmptyPaths(CLI::App& app);
