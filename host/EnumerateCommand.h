// orbwatch enumerate: makes one full enumeration of the selection, and hands out the files that it finds.
#pragma once

#include "host/BackupService.h"

ExitCode RunEnumerate(const ServiceOptions& options, RecordWriter& writer);
