// orbwatch add: new rules for a selection. They are merged into its file, and what
// they select waits for the next watch, or is handed out by the one that runs on the
// same data folder.
#pragma once

#include "host/BackupService.h"

struct AddOptions : ServiceOptions {
    std::wstring rules;
    bool deleteWhenDone;
    bool mergeOnly;
};

ExitCode RunAdd(const AddOptions& options, RecordWriter& writer);
