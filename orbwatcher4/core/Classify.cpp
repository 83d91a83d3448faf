#include "orbwatcher4/core/Classify.h"

Classification Classify(OrbFilter& primary, OrbFilter& secondary, ObjectLockTable& locks, const wchar_t* path)
{
    Classification answer;
    {
        const ObjectLock lock(locks, &primary);
        answer.ordinary = primary.CheckForInclusion(path, &answer.rules, true, false);
    }
    answer.primaryRules = answer.rules.size();
    answer.decision = answer.ordinary;
    if (answer.ordinary != Included)
        return answer;
    {
        // Its rules go along with the change; its opinion does not count.
        const ObjectLock lock(locks, &secondary);
        secondary.CheckForInclusion(path, &answer.rules, false, false);
    }
    const ObjectLock lock(locks, &primary);
    if (primary.IsSkipAdvancedFilterCheck(path, answer.rules))
        return answer;
    answer.advancedAsked = true;
    answer.advanced = primary.CheckForAdvancedInclusion(path, &answer.advancedRule);
    answer.decision = answer.advanced;
    return answer;
}
