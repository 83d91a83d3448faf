#include "orbwatcher4/core/selection/Classify.h"

PathOutcome RefusalOf(const Classification& answer)
{
    if (answer.keptOut != KeptOut::No)
        return answer.keptOut == KeptOut::OwnFile ? PathOutcome::OwnFile : PathOutcome::BackupFolder;
    if (answer.decision == NotApplicable)
        return PathOutcome::NotApplicable;
    if (answer.advancedAsked)
        return PathOutcome::Advanced;
    if (answer.decision == Excluded)
        return PathOutcome::Excluded;
    // An exclusion ends the walk over the rules. Without one, no rule has selected the path.
    const bool excluded = !answer.rules.empty() && answer.rules.back()->incEx == WatcherEnum::Exclude;
    return excluded ? PathOutcome::AutoExcluded : PathOutcome::NotSelected;
}

Classification Classify(Selection& selection, const wchar_t* path)
{
    Classification answer;
    {
        const CSingleLock lock(selection.primaryLock);
        answer.ordinary = selection.primary.CheckForInclusion(path, &answer.rules, true, false);
        if (answer.ordinary != Included)
            answer.keptOut = selection.primary.WhyKeptOut(path);
    }
    answer.primaryRules = answer.rules.size();
    answer.decision = answer.ordinary;
    if (answer.ordinary != Included)
        return answer;
    {
        // The change gets the texts of the secondary rules; their decision does not count.
        const CSingleLock lock(selection.secondaryLock);
        if (selection.secondary.HasRules())
            selection.secondary.CheckForInclusion(path, &answer.rules, false, false);
    }
    AdvancedRules advanced;
    {
        const CSingleLock lock(selection.primaryLock);
        if (selection.primary.IsSkipAdvancedFilterCheck(path, answer.rules))
            return answer;
        advanced = selection.primary.CurrentAdvancedRules();
    }
    answer.advancedAsked = true;
    answer.advanced = advanced.Check(path, &answer.advancedRule);
    answer.decision = answer.advanced;
    return answer;
}
