// Scripts with which a shell completes the command line of orbwatch: commands, options, their words, the profiles of
// the named selection, and paths. Any thread.
#pragma once

#include "host/help/CommandTree.h"

enum class Shell { Bash, PowerShell };

std::string CompletionScript(Shell shell, const std::vector<CommandNode>& tree);
std::string BashCompletion(const std::vector<CommandNode>& tree);
std::string PowerShellCompletion(const std::vector<CommandNode>& tree);
