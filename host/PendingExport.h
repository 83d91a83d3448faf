// The pending files of a watcher as a list in a file, made by this process or by the
// watch that runs on the same data folder. One thread.
#pragma once

#include "orbwatcher4/OrbWatcher.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

struct PendingExport {
    std::wstring file;
    int most = 0;
};
struct PendingExported {
    bool anyPending = false;
    int count = 0;        // of the files that were added to the list
    std::wstring failure; // why there is no list; empty when there is one, and when nothing is pending
};

PendingExported ExportPending(COrbWatcher& watcher, const PendingExport& wanted);

// Asks the watch that runs on the same data folder. Nothing when there is none; waits for an answer for a minute at
// most.
std::optional<PendingExported> AskForExport(const PendingExport& wanted);

// The watch's answer; nothing when the request is no request for an export.
std::optional<nlohmann::json> AnswerExport(COrbWatcher& watcher, const nlohmann::json& request);
