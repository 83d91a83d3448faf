// orbwatch export: what is pending, as a list in a file. A watch that runs on the
// same data folder is asked; otherwise it is what the last one has left.
#pragma once

#include "host/BackupService.h"

struct ExportOptions : ServiceOptions {
    std::wstring to;
    int most;
};

ExitCode RunExport(const ExportOptions& options, RecordWriter& writer);
