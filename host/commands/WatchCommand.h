// orbwatch watch: starts the watcher as a backup service would, and prints what it hands out.
#pragma once

#include "host/commands/Command.h"

std::unique_ptr<Command> MakeWatchCommand();
