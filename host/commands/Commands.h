// All commands of orbwatch. Each one is in a file of its own, which defines the function that makes it.
#pragma once

#include "host/commands/Command.h"

#include <memory>
#include <vector>

std::unique_ptr<Command> MakeAddCommand();
std::unique_ptr<Command> MakeCompletionCommand();
std::unique_ptr<Command> MakeDoctorCommand();
std::unique_ptr<Command> MakeEnumerateCommand();
std::unique_ptr<Command> MakeEstimateCommand();
std::unique_ptr<Command> MakeExplainCommand();
std::unique_ptr<Command> MakeExportCommand();
std::unique_ptr<Command> MakeInitCommand();
std::unique_ptr<Command> MakeOverlayCommand();
std::unique_ptr<Command> MakeReferenceCommand();
std::unique_ptr<Command> MakeWatchCommand();

// Returns them in the order of the help.
std::vector<std::unique_ptr<Command>> MakeCommands();
