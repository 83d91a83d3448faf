// orbwatch add: adds new rules to a selection. They are merged into its file. The files that they select are pending
// for the next watch, or the watch that runs on the same data folder hands them out.
#pragma once

#include "host/commands/Command.h"

std::unique_ptr<Command> MakeAddCommand();
