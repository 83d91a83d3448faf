// Makes docs/orbwatch.md from the program's own help. One thread.
#pragma once

#include "host/help/CommandHelp.h"

#include <CLI/CLI.hpp>

#include <string>

// `helps`: of the program and of each command that the parser shows.
std::string ReferencePage(const CLI::App& app, const std::vector<CommandHelp>& helps);
