// orbwatch enumerate: one full run over the selection, what it finds handed out.
#pragma once

#include "host/BackupService.h"

ExitCode RunEnumerate(const ServiceOptions& options, RecordWriter& writer);
