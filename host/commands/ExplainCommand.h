// orbwatch explain: why paths are selected or not.
#pragma once

#include "host/commands/Command.h"

std::unique_ptr<Command> MakeExplainCommand();
