#include "orbwatcher4/core/intake/Explain.h"

#include "orbwatcher4/core/selection/Classify.h"

namespace
{

using Source = PathExplanation::Source;

Source SourceOf(const Filter& rule, bool primary)
{
    if (!primary)
        return Source::Secondary;
    return rule.flags & RuleFlags::AutoExclude ? Source::AutoExclude : Source::Data;
}

// Returns the index of the rule that settled the ordinary decision: the exclusion that ended the walk, or otherwise the
// first include. Returns -1 when there is neither, because the index held the path or no rule applies.
int DecidingOrdinary(const Classification& answer)
{
    const auto wanted = answer.ordinary == Included ? WatcherEnum::Include : WatcherEnum::Exclude;
    for (std::size_t i = 0; i < answer.primaryRules; ++i)
        if (answer.rules[i]->incEx == wanted)
            return static_cast<int>(i);
    return -1;
}

// A short name of a file that does not exist has no long form; it is judged as it is.
PathExplanation::Reason ReasonOf(ChangeHandler& handler, Selection& selection, const CString& path, bool handled)
{
    if (handler.Own().Contains(path))
        return PathExplanation::Reason::OwnFile;
    if (!handled && path.Find(L'~') < 0)
        return PathExplanation::Reason::TooLong;
    const CSingleLock lock(selection.primaryLock);
    switch (selection.primary.WhyKeptOut(path)) {
    case KeptOut::Destination:
        return PathExplanation::Reason::BackupFolder;
    case KeptOut::OwnFile:
        return PathExplanation::Reason::OwnFile;
    case KeptOut::No:
        break;
    }
    return PathExplanation::Reason::Rules;
}

} // namespace

PathExplanation ExplainPath(ChangeHandler& handler, Selection& selection, const wchar_t* path)
{
    PathExplanation explanation;
    const std::optional<ChangeHandler::EventPath> normal = handler.NormalizeEventPath(path);
    explanation.path = normal ? normal->path : CString(path);
    explanation.reason = ReasonOf(handler, selection, explanation.path, normal.has_value());
    if (explanation.reason != PathExplanation::Reason::Rules)
        return explanation;
    const Classification answer = Classify(selection, explanation.path);
    explanation.decision = answer.decision;
    explanation.ordinary = answer.ordinary;
    explanation.advancedAsked = answer.advancedAsked;
    explanation.advanced = answer.advanced;
    for (std::size_t i = 0; i < answer.rules.size(); ++i)
        explanation.rules.push_back({answer.rules[i], SourceOf(*answer.rules[i], i < answer.primaryRules)});
    explanation.deciding = DecidingOrdinary(answer);
    if (answer.advancedRule) {
        explanation.rules.push_back({answer.advancedRule, Source::Advanced});
        if (answer.decision != Included)
            explanation.deciding = static_cast<int>(explanation.rules.size()) - 1;
    }
    return explanation;
}
