// The options of each command, as the parser and the help know them. What an option
// wants is named by its type: FILE, FOLDER and PATH are completed by the shell as
// paths, PROFILE as the profiles of the selection, and a|b|c as one of these words.
#pragma once

#include "host/Commands.h"

// Each adds its command; `arguments` must outlive it.
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
