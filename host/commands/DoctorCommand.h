// orbwatch doctor: examines this machine and reports what is wrong. It changes nothing.
#pragma once

#include "host/commands/Command.h"

std::unique_ptr<Command> MakeDoctorCommand();
