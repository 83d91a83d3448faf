// orbwatch completion: prints the script by which a shell completes command lines.
#pragma once

#include "host/commands/Command.h"

std::unique_ptr<Command> MakeCompletionCommand();
