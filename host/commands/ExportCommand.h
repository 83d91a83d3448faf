// orbwatch export: writes the pending files as a list in a file. Asks a watch that runs on the same data folder;
// without one, exports what the last watch left pending.
#pragma once

#include "host/commands/Command.h"

std::unique_ptr<Command> MakeExportCommand();
