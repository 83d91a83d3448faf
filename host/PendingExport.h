// Exports the pending files of a watcher as a list in a file, by this process or by the watch that runs on the same
// data folder. One thread.
#pragma once

#include "companions/settings/FolderUse.h"
#include "host/records/RecordWriter.h"
#include "orbwatcher4/OrbWatcher.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

// `file` is written. `place`: the file that it becomes afterwards, which the running watch keeps out of the selection.
struct PendingExport {
    std::wstring file;
    int most = 0;
    std::wstring place;
    // The roots that the selection has, when they are known: only rescans of these are missing in the list.
    std::optional<std::vector<CString>> roots = std::nullopt;
};
struct PendingExported {
    bool anyPending = false;
    int count = 0;               // number of files that were added to the list
    std::wstring failure;        // why there is no list; empty when there is one, and when nothing is pending
    ExitCode code = ExitFailure; // how the command ends when there is a failure
    std::int64_t more = 0;       // how many pending files and deletions the list had no room for
    std::wstring gap;            // why more may be pending than is known; empty when everything is known
};

PendingExported ExportPending(COrbWatcher& watcher, const PendingExport& wanted);

// Returns why the watcher of this process may not know everything that is pending; empty when it does. Ask it after the
// watcher has begun its run. `selected`: the roots of PendingExport.
std::wstring GapOf(COrbWatcher& watcher, const std::optional<std::vector<CString>>& selected);

// Asks the watch that runs on the same data folder, and waits a minute at most for its answer. Returns nothing when no
// watch runs.
std::optional<PendingExported> AskForExport(const PendingExport& wanted, const FolderUse& use, RecordWriter& writer);

// Makes the watch's answer; nothing when the request does not ask for an export.
std::optional<nlohmann::json> AnswerExport(COrbWatcher& watcher, const nlohmann::json& request);
