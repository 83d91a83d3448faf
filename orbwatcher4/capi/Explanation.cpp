// Explains why a path is selected or not.
#include "orbwatcher4/capi/WatcherObject.h"

struct OrbExplanationObject {
    const PathExplanation explanation;
};

namespace
{

using Reason = PathExplanation::Reason;
using Source = PathExplanation::Source;

static_assert(ORB_INCLUDED == static_cast<int>(Included) && ORB_NOT_INCLUDED == static_cast<int>(NotIncluded) &&
              ORB_EXCLUDED == static_cast<int>(Excluded) && ORB_NOT_APPLICABLE == static_cast<int>(NotApplicable));
static_assert(ORB_BY_RULES == static_cast<int>(Reason::Rules) && ORB_BY_LENGTH == static_cast<int>(Reason::TooLong) &&
              ORB_BY_BACKUP_FOLDER == static_cast<int>(Reason::BackupFolder) &&
              ORB_BY_OWN_FILE == static_cast<int>(Reason::OwnFile));
static_assert(ORB_FROM_SELECTION == static_cast<int>(Source::Data) &&
              ORB_FROM_AUTO_EXCLUSIONS == static_cast<int>(Source::AutoExclude) &&
              ORB_FROM_ADVANCED == static_cast<int>(Source::Advanced) &&
              ORB_FROM_SECONDARY == static_cast<int>(Source::Secondary));

const PathExplanation::Rule& RuleOf(OrbExplanationHandle handle, uint32_t number)
{
    const auto& rules = Required(handle).explanation.rules;
    if (number >= rules.size())
        throw Refused{ORB_BAD_ARGUMENT, L"there is no rule with this number"};
    return rules[number];
}

const CString& TextOf(const Filter& rule, int32_t text)
{
    switch (text) {
    case ORB_RULE_PATH:
        return rule.path;
    case ORB_RULE_MASK:
        return rule.mask;
    case ORB_RULE_PLUGIN:
        return rule.pluginName;
    case ORB_RULE_INFO:
        return rule.additionalInfo;
    default:
        throw Refused{ORB_BAD_ARGUMENT, L"a rule has no such text"};
    }
}

} // namespace

OrbResult ORB_CALL OrbExplain(OrbWatcherHandle watcher, const wchar_t* path, OrbExplanationHandle* explanation)
{
    return Guarded([&] {
        Required(explanation) = nullptr;
        const std::wstring text = RequiredText(path);
        *explanation = Required(watcher).WhileLoaded(
            [&](COrbWatcher& loaded) { return new OrbExplanationObject{loaded.Explain(text.c_str())}; });
        return ORB_OK;
    });
}

OrbResult ORB_CALL OrbExplanationGet(OrbExplanationHandle explanation, OrbExplanation* out)
{
    return Guarded([&] {
        RequireSize(out);
        const PathExplanation& answer = Required(explanation).explanation;
        OrbExplanation filled = {};
        filled.decision = answer.decision;
        filled.reason = static_cast<int32_t>(answer.reason);
        filled.ordinary = answer.ordinary;
        filled.advancedAsked = answer.advancedAsked;
        filled.advanced = answer.advanced;
        filled.rules = static_cast<uint32_t>(answer.rules.size());
        filled.deciding = answer.deciding;
        CopyOut(filled, out);
        return ORB_OK;
    });
}

OrbResult ORB_CALL OrbExplanationPath(OrbExplanationHandle explanation, wchar_t* buffer, uint32_t capacity,
                                      uint32_t* needed)
{
    return Guarded([&] { return GiveText(Required(explanation).explanation.path.View(), buffer, capacity, needed); });
}

OrbResult ORB_CALL OrbExplanationRule(OrbExplanationHandle explanation, uint32_t number, OrbRule* rule)
{
    return Guarded([&] {
        RequireSize(rule);
        const PathExplanation::Rule& asked = RuleOf(explanation, number);
        const Filter& filter = *asked.rule;
        OrbRule filled = {};
        filled.source = static_cast<int32_t>(asked.source);
        filled.includes = filter.incEx == WatcherEnum::Include;
        filled.folder = filter.type != 0;
        filled.withSubfolders = filter.includeSub;
        filled.regex = filter.isregex;
        filled.userExclusion = filter.exclude;
        filled.flags = filter.flags;
        filled.plugin = filter.pluginId;
        filled.job = filter.jobid;
        filled.volumeSerial = filter.vid;
        filled.volumeFound = filter.volumeFound;
        CopyOut(filled, rule);
        return ORB_OK;
    });
}

OrbResult ORB_CALL OrbExplanationRuleText(OrbExplanationHandle explanation, uint32_t number, int32_t text,
                                          wchar_t* buffer, uint32_t capacity, uint32_t* needed)
{
    return Guarded(
        [&] { return GiveText(TextOf(*RuleOf(explanation, number).rule, text).View(), buffer, capacity, needed); });
}

void ORB_CALL OrbExplanationDestroy(OrbExplanationHandle explanation) { delete explanation; }
