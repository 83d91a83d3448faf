// orbwatch estimate: how much a selection holds, and how edits would change that.
#pragma once

#include "host/commands/Command.h"

std::unique_ptr<Command> MakeEstimateCommand();
