// orbwatch init: a sample selection to start from.
// Existing files are never overwritten: if one exists, nothing is written.
#pragma once

#include "host/commands/Command.h"

std::unique_ptr<Command> MakeInitCommand();
