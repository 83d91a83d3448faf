// orbwatch export: writes the pending files as a list in a file. Asks a watch that runs on the same data folder;
// without one, exports what the last watch left pending.
#pragma once

#include "host/BackupService.h"

struct ExportOptions : ServiceOptions {
    std::wstring to;
    bool force = false; // replace a file that is no list
    int most;
};

ExitCode RunExport(const ExportOptions& options, RecordWriter& writer);
