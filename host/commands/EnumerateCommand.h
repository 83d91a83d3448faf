// orbwatch enumerate: makes one full enumeration of the selection, and hands out the files that it finds.
#pragma once

#include "host/commands/Command.h"

std::unique_ptr<Command> MakeEnumerateCommand();
