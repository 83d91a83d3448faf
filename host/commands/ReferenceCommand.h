// orbwatch reference: prints docs/orbwatch.md, for tools/reference.
#pragma once

#include "host/commands/Command.h"

std::unique_ptr<Command> MakeReferenceCommand();
