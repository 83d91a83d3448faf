// Scripts with which a shell completes the command line of orbwatch: commands, options, their words, the profiles of
// the named selection, and paths. Any thread.
#pragma once

#include "host/help/CommandTree.h"

std::string BashCompletion(const std::vector<CommandNode>& tree);
std::string PowerShellCompletion(const std::vector<CommandNode>& tree);
