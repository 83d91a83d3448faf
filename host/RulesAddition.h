// Adds new rules to the selection of a watcher, by this process or by the watch that runs on the same data folder. One
// thread.
#pragma once

#include "companions/settings/FolderUse.h"
#include "host/records/RecordWriter.h"
#include "orbwatcher4/OrbWatcher.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <vector>

struct RulesAddition {
    std::wstring rules;
    bool deleteWhenDone = false;
    bool mergeOnly = false;
};
struct RulesAdded {
    AddQueueItemResult result = RulesNotLoaded;
    std::vector<ExcludedInfo> excluded;
    std::vector<std::wstring> failures; // rules that contradict the selection, a selection that cannot be written
    std::wstring unanswered;            // why the running watch gave no answer, and what to do
    ExitCode unansweredCode = ExitFailure;
};

RulesAdded AddRules(COrbWatcher& watcher, const RulesAddition& wanted);

// Asks the watch that runs on the same data folder, which then hands out what the rules select. Waits ten minutes at
// most for its answer, because the rules' folders are walked before it comes, and says so when it waits. Returns
// nothing when no watch runs.
std::optional<RulesAdded> AskToAdd(const RulesAddition& wanted, const FolderUse& use, RecordWriter& writer);

// Reads the requested addition; nothing when the request does not ask to add rules.
std::optional<RulesAddition> AdditionOf(const nlohmann::json& request);
// Makes the watch's answer.
nlohmann::json AnswerOf(const RulesAdded& added);
