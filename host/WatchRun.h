// A watch of orbwatch: starts the watcher as a backup service would, hands out, and answers other commands. One thread.
#pragma once

#include "host/BackupService.h"

struct WatchOptions : ServiceOptions {
    bool collect = false;        // hand out nothing
    std::uint64_t maxEvents = 0; // 0: no limit
    double untilQuiet = 0;       // seconds; 0: never
};

ExitCode RunWatch(const WatchOptions& options, RecordWriter& writer);
