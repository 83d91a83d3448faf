#include "tests/abi/AbiTable.h"

#include "orbwatcher4/OrbWatcherC.h"

#include <cstddef>
#include <type_traits>

namespace
{

using Json = nlohmann::ordered_json;

[[maybe_unused]] std::string NameOfStruct(OrbWatcherOptions*) { return "OrbWatcherOptions"; }
[[maybe_unused]] std::string NameOfStruct(OrbPendingFile*) { return "OrbPendingFile"; }
[[maybe_unused]] std::string NameOfStruct(OrbDeletion*) { return "OrbDeletion"; }
[[maybe_unused]] std::string NameOfStruct(OrbRescan*) { return "OrbRescan"; }
[[maybe_unused]] std::string NameOfStruct(OrbIndexOptions*) { return "OrbIndexOptions"; }
[[maybe_unused]] std::string NameOfStruct(OrbExplanation*) { return "OrbExplanation"; }
[[maybe_unused]] std::string NameOfStruct(OrbRule*) { return "OrbRule"; }
[[maybe_unused]] std::string NameOfStruct(OrbEnumerationProgress*) { return "OrbEnumerationProgress"; }
[[maybe_unused]] std::string NameOfStruct(OrbEstimateOptions*) { return "OrbEstimateOptions"; }
[[maybe_unused]] std::string NameOfStruct(OrbEstimateProgress*) { return "OrbEstimateProgress"; }
[[maybe_unused]] std::string NameOfStruct(OrbEstimateTotals*) { return "OrbEstimateTotals"; }

template <typename Type>
std::string NameOf()
{
    using Plain = std::remove_cv_t<Type>;
    if constexpr (std::is_void_v<Plain>)
        return "void";
    else if constexpr (std::is_same_v<Plain, wchar_t>)
        return "utf16";
    else if constexpr (std::is_integral_v<Plain>)
        return (std::is_signed_v<Plain> ? "int" : "uint") + std::to_string(8 * sizeof(Plain));
    else if constexpr (std::is_same_v<Plain, OrbEstimateCallback>)
        return "OrbEstimateCallback";
    else if constexpr (std::is_same_v<Plain, OrbWatcherHandle>)
        return "OrbWatcherHandle";
    else if constexpr (std::is_same_v<Plain, OrbIndexHandle>)
        return "OrbIndexHandle";
    else if constexpr (std::is_same_v<Plain, OrbExplanationHandle>)
        return "OrbExplanationHandle";
    else if constexpr (std::is_pointer_v<Plain>)
        return (std::is_const_v<std::remove_pointer_t<Plain>> ? "const " : "") +
               NameOf<std::remove_pointer_t<Plain>>() + "*";
    else if constexpr (std::is_array_v<Plain>)
        return NameOf<std::remove_extent_t<Plain>>() + "[" + std::to_string(std::extent_v<Plain>) + "]";
    else
        return NameOfStruct(static_cast<Plain*>(nullptr));
}

template <typename Field>
Json FieldOf(const char* name, std::size_t offset)
{
    return {{"name", name}, {"offset", offset}, {"size", sizeof(Field)}, {"type", NameOf<Field>()}};
}

template <typename Result, typename... Parameters>
Json FunctionOf(const char* name, Result (*)(Parameters...))
{
    return {{"name", name}, {"result", NameOf<Result>()}, {"parameters", Json::array({NameOf<Parameters>()...})}};
}

#define FIELD(type, field) FieldOf<decltype(type::field)>(#field, offsetof(type, field))
#define FUNCTION(name) FunctionOf(#name, &name)
#define CONSTANT(name) {#name, static_cast<std::int64_t>(name)}

Json Structs()
{
    return Json::array({
        {{"name", "OrbWatcherOptions"},
         {"size", sizeof(OrbWatcherOptions)},
         {"fields", Json::array({FIELD(OrbWatcherOptions, size), FIELD(OrbWatcherOptions, hiddenFiles),
                                 FIELD(OrbWatcherOptions, selection), FIELD(OrbWatcherOptions, indexDatabase),
                                 FIELD(OrbWatcherOptions, autoExclusions), FIELD(OrbWatcherOptions, advancedRules),
                                 FIELD(OrbWatcherOptions, destination), FIELD(OrbWatcherOptions, secondaryRules),
                                 FIELD(OrbWatcherOptions, keepEvents), FIELD(OrbWatcherOptions, reserved)})}},
        {{"name", "OrbPendingFile"},
         {"size", sizeof(OrbPendingFile)},
         {"fields",
          Json::array({FIELD(OrbPendingFile, size), FIELD(OrbPendingFile, flags), FIELD(OrbPendingFile, id),
                       FIELD(OrbPendingFile, fileSize), FIELD(OrbPendingFile, modificationTime),
                       FIELD(OrbPendingFile, creationTime), FIELD(OrbPendingFile, attributes),
                       FIELD(OrbPendingFile, ruleValue), FIELD(OrbPendingFile, path), FIELD(OrbPendingFile, ruleTexts),
                       FIELD(OrbPendingFile, ruleNumbers), FIELD(OrbPendingFile, fileId),
                       FIELD(OrbPendingFile, volumeSerial), FIELD(OrbPendingFile, reserved)})}},
        {{"name", "OrbDeletion"},
         {"size", sizeof(OrbDeletion)},
         {"fields", Json::array({FIELD(OrbDeletion, size), FIELD(OrbDeletion, job), FIELD(OrbDeletion, id),
                                 FIELD(OrbDeletion, path)})}},
        {{"name", "OrbRescan"},
         {"size", sizeof(OrbRescan)},
         {"fields", Json::array({FIELD(OrbRescan, size), FIELD(OrbRescan, reason), FIELD(OrbRescan, root)})}},
        {{"name", "OrbIndexOptions"},
         {"size", sizeof(OrbIndexOptions)},
         {"fields", Json::array({FIELD(OrbIndexOptions, size), FIELD(OrbIndexOptions, writable),
                                 FIELD(OrbIndexOptions, exclusive), FIELD(OrbIndexOptions, timeoutMilliseconds),
                                 FIELD(OrbIndexOptions, sizeLimit)})}},
        {{"name", "OrbExplanation"},
         {"size", sizeof(OrbExplanation)},
         {"fields", Json::array({FIELD(OrbExplanation, size), FIELD(OrbExplanation, decision),
                                 FIELD(OrbExplanation, reason), FIELD(OrbExplanation, ordinary),
                                 FIELD(OrbExplanation, advancedAsked), FIELD(OrbExplanation, advanced),
                                 FIELD(OrbExplanation, rules), FIELD(OrbExplanation, deciding)})}},
        {{"name", "OrbRule"},
         {"size", sizeof(OrbRule)},
         {"fields", Json::array({FIELD(OrbRule, size), FIELD(OrbRule, source), FIELD(OrbRule, includes),
                                 FIELD(OrbRule, folder), FIELD(OrbRule, withSubfolders), FIELD(OrbRule, regex),
                                 FIELD(OrbRule, userExclusion), FIELD(OrbRule, flags), FIELD(OrbRule, plugin),
                                 FIELD(OrbRule, job), FIELD(OrbRule, volumeSerial), FIELD(OrbRule, volumeFound)})}},
        {{"name", "OrbEnumerationProgress"},
         {"size", sizeof(OrbEnumerationProgress)},
         {"fields", Json::array({FIELD(OrbEnumerationProgress, size), FIELD(OrbEnumerationProgress, running),
                                 FIELD(OrbEnumerationProgress, completed), FIELD(OrbEnumerationProgress, reserved),
                                 FIELD(OrbEnumerationProgress, files), FIELD(OrbEnumerationProgress, folders),
                                 FIELD(OrbEnumerationProgress, outcomes), FIELD(OrbEnumerationProgress, folder)})}},
        {{"name", "OrbEstimateOptions"},
         {"size", sizeof(OrbEstimateOptions)},
         {"fields", Json::array({FIELD(OrbEstimateOptions, size), FIELD(OrbEstimateOptions, reserved),
                                 FIELD(OrbEstimateOptions, selection), FIELD(OrbEstimateOptions, autoExclusions),
                                 FIELD(OrbEstimateOptions, destination)})}},
        {{"name", "OrbEstimateProgress"},
         {"size", sizeof(OrbEstimateProgress)},
         {"fields", Json::array({FIELD(OrbEstimateProgress, size), FIELD(OrbEstimateProgress, drives),
                                 FIELD(OrbEstimateProgress, drivesDone), FIELD(OrbEstimateProgress, reserved),
                                 FIELD(OrbEstimateProgress, files), FIELD(OrbEstimateProgress, folders),
                                 FIELD(OrbEstimateProgress, bytes), FIELD(OrbEstimateProgress, folder)})}},
        {{"name", "OrbEstimateTotals"},
         {"size", sizeof(OrbEstimateTotals)},
         {"fields", Json::array({FIELD(OrbEstimateTotals, size), FIELD(OrbEstimateTotals, reserved),
                                 FIELD(OrbEstimateTotals, files), FIELD(OrbEstimateTotals, bytes),
                                 FIELD(OrbEstimateTotals, leftOutFiles), FIELD(OrbEstimateTotals, leftOutBytes),
                                 FIELD(OrbEstimateTotals, unreadable)})}},
    });
}

Json Functions()
{
    return Json::array({FUNCTION(OrbSetDataFolder),
                        FUNCTION(OrbGetDataFolder),
                        FUNCTION(OrbResultText),
                        FUNCTION(OrbLastFailure),
                        FUNCTION(OrbVersion),
                        FUNCTION(OrbWatcherCreate),
                        FUNCTION(OrbWatcherStart),
                        FUNCTION(OrbWatcherWaitReady),
                        FUNCTION(OrbWatcherRoots),
                        FUNCTION(OrbWatcherStop),
                        FUNCTION(OrbWatcherIsPendingKept),
                        FUNCTION(OrbWatcherDestroy),
                        FUNCTION(OrbPendingTake),
                        FUNCTION(OrbPendingPutBack),
                        FUNCTION(OrbPendingCount),
                        FUNCTION(OrbDeletionTake),
                        FUNCTION(OrbRescanTake),
                        FUNCTION(OrbIndexOpen),
                        FUNCTION(OrbIndexRecord),
                        FUNCTION(OrbIndexRecordMany),
                        FUNCTION(OrbIndexForget),
                        FUNCTION(OrbIndexForgetDeleted),
                        FUNCTION(OrbIndexClose),
                        FUNCTION(OrbExplain),
                        FUNCTION(OrbExplanationGet),
                        FUNCTION(OrbExplanationPath),
                        FUNCTION(OrbExplanationRule),
                        FUNCTION(OrbExplanationRuleText),
                        FUNCTION(OrbExplanationDestroy),
                        FUNCTION(OrbEnumerationStart),
                        FUNCTION(OrbEnumerationGetProgress),
                        FUNCTION(OrbEnumerationWait),
                        FUNCTION(OrbEnumerationNoteCompleted),
                        FUNCTION(OrbEstimate)});
}

Json Constants()
{
    return {CONSTANT(ORB_LONGEST_TEXT),
            CONSTANT(ORB_PATH_CAPACITY),
            CONSTANT(ORB_RULE_TEXTS_CAPACITY),
            CONSTANT(ORB_RULE_NUMBERS_CAPACITY),
            CONSTANT(ORB_REASON_CAPACITY),
            CONSTANT(ORB_OUTCOME_CAPACITY),
            CONSTANT(ORB_OK),
            CONSTANT(ORB_NOTHING),
            CONSTANT(ORB_BAD_ARGUMENT),
            CONSTANT(ORB_BAD_SIZE),
            CONSTANT(ORB_TEXT_TOO_LONG),
            CONSTANT(ORB_BUFFER_TOO_SMALL),
            CONSTANT(ORB_WRONG_STATE),
            CONSTANT(ORB_BUSY),
            CONSTANT(ORB_TIMED_OUT),
            CONSTANT(ORB_ABORTED),
            CONSTANT(ORB_SELECTION_UNREADABLE),
            CONSTANT(ORB_FILE_UNREADABLE),
            CONSTANT(ORB_PENDING_NOT_KEPT),
            CONSTANT(ORB_NO_MEMORY),
            CONSTANT(ORB_FAILED),
            CONSTANT(ORB_NOT_TRUSTED),
            CONSTANT(ORB_INDEX_LOCKED),
            CONSTANT(ORB_INDEX_READ_ONLY),
            CONSTANT(ORB_INDEX_CORRUPT),
            CONSTANT(ORB_INDEX_NEWER),
            CONSTANT(ORB_INDEX_FULL),
            CONSTANT(ORB_INDEX_FAILED),
            CONSTANT(ORB_INDEX_NOT_FOUND),
            CONSTANT(ORB_FILE),
            CONSTANT(ORB_DIRECTORY),
            CONSTANT(ORB_NEW),
            CONSTANT(ORB_BLOCK_LEVEL),
            CONSTANT(ORB_INTERNAL),
            CONSTANT(ORB_EVEN_WHEN_HIDDEN),
            CONSTANT(ORB_RULE_WITHOUT_TEXT),
            CONSTANT(ORB_SHOW_OVERLAY),
            CONSTANT(ORB_DEDUP_CANDIDATE),
            CONSTANT(ORB_INCLUDED),
            CONSTANT(ORB_NOT_INCLUDED),
            CONSTANT(ORB_EXCLUDED),
            CONSTANT(ORB_NOT_APPLICABLE),
            CONSTANT(ORB_BY_RULES),
            CONSTANT(ORB_BY_LENGTH),
            CONSTANT(ORB_BY_BACKUP_FOLDER),
            CONSTANT(ORB_BY_OWN_FILE),
            CONSTANT(ORB_FROM_SELECTION),
            CONSTANT(ORB_FROM_AUTO_EXCLUSIONS),
            CONSTANT(ORB_FROM_ADVANCED),
            CONSTANT(ORB_FROM_SECONDARY),
            CONSTANT(ORB_RULE_PATH),
            CONSTANT(ORB_RULE_MASK),
            CONSTANT(ORB_RULE_PLUGIN),
            CONSTANT(ORB_RULE_INFO),
            CONSTANT(ORB_QUEUED),
            CONSTANT(ORB_WAITING),
            CONSTANT(ORB_UNCHANGED),
            CONSTANT(ORB_MISSING),
            CONSTANT(ORB_UNREADABLE),
            CONSTANT(ORB_SKIPPED_HIDDEN),
            CONSTANT(ORB_SKIPPED_EXCLUDED),
            CONSTANT(ORB_SKIPPED_AUTO_EXCLUDED),
            CONSTANT(ORB_SKIPPED_ADVANCED),
            CONSTANT(ORB_SKIPPED_NOT_APPLICABLE),
            CONSTANT(ORB_SKIPPED_NOT_SELECTED),
            CONSTANT(ORB_SKIPPED_BACKUP_FOLDER),
            CONSTANT(ORB_SKIPPED_OWN_FILE),
            CONSTANT(ORB_SKIPPED_TOO_LONG),
            CONSTANT(ORB_SKIPPED_DELAYED),
            CONSTANT(ORB_SKIPPED_UPLOADED),
            CONSTANT(ORB_SKIPPED_SYSTEM_LINK),
            CONSTANT(ORB_SKIPPED_BROKEN_LINK),
            CONSTANT(ORB_SKIPPED_WALKED_ALREADY)};
}

} // namespace

Json AbiTable()
{
    return {{"version", OrbVersion()}, {"constants", Constants()}, {"structs", Structs()}, {"functions", Functions()}};
}
