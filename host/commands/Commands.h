// All commands of orbwatch.
#pragma once

#include "host/commands/Command.h"

#include <vector>

// Returns them in the order of the help.
std::vector<std::unique_ptr<Command>> MakeCommands();
