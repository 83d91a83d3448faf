// Adding rules while the watcher runs.
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/SelectionMerge.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/Impersonation.h"

#include <shlwapi.h>

AddQueueItemResult COrbWatcher::AddNewQueueItem(const wchar_t* xmlPath, bool deleteWhenDone,
                                                std::vector<ExcludedInfo>* excluded, int mergeOnly)
{
    const COrbFuncLog guard(L"COrbWatcher::AddNewQueueItem");
    const CallerTokenScope token;
    const ObjectLock lock(m->locks, &m->filter);
    if (!xmlPath || !PathFileExistsW(xmlPath))
        return RulesNotLoaded;
    FilterList loaded, accepted;
    const bool good = m->filter.LoadXmlFilter(xmlPath, false, &loaded, false, true);
    bool exclusionsMet = false;
    bool merged = true;
    if (good) {
        for (const FilterPtr& rule : loaded)
            if (m->filter.CheckRuleNoConflict(rule)) {
                m->filter.AddSingleFilter(rule, false);
                accepted.push_back(rule);
            }
        merged = m->dataXmlPath.IsEmpty() || SelectionMerge::MergeIntoFile(m->dataXmlPath, accepted);
        // In order also when nothing is queued: checks rely on it.
        if (!accepted.empty())
            m->filter.Sort();
        if (!mergeOnly)
            QueueAcceptedRules(accepted, excluded, exclusionsMet);
    }
    if (exclusionsMet)
        return ExclusionsFound;
    // Rules that did not get into the selection file would be gone at the next start.
    if (deleteWhenDone && merged)
        DeleteFileW(xmlPath);
    return good ? RulesQueued : RulesNotLoaded;
}

void COrbWatcher::QueueAcceptedRules(const FilterList& accepted, std::vector<ExcludedInfo>* excluded,
                                     bool& exclusionsMet)
{
    for (const FilterPtr& rule : accepted) {
        if (rule->incEx == WatcherEnum::Include) {
            m->changeHandler.ProcessChangedFile(rule->path, true, false);
            RequestDrive(rule->path);
        } else if (rule->mask.IsEmpty()) {
            exclusionsMet = true;
            if (excluded)
                excluded->push_back({rule->type != 0 ? 1 : 0, rule->path});
        }
    }
}

// The watch thread watches the drive from its next pass on.
void COrbWatcher::RequestDrive(const wchar_t* path)
{
    const CSingleLock lock(m->pendingDrivesLock);
    if (m->driveChanges.insert(OrbFilter::StripToRoot(path)).second)
        m->drivesChanged = true;
}
