// orbwatch overlay: a service that keeps the overlay statuses and prints each change. For tests of its clients, it can
// be told to behave badly, as real services sometimes do.
#pragma once

#include "host/commands/Command.h"

std::unique_ptr<Command> MakeOverlayCommand();
