// Adding rules while the watcher runs.
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/OverlayRemover.h"
#include "orbwatcher4/core/SelectionMerge.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/Impersonation.h"

#include <shlwapi.h>

#include <algorithm>
#include <iterator>

AddQueueItemResult COrbWatcher::AddNewQueueItem(const wchar_t* xmlPath, bool deleteWhenDone,
                                                std::vector<ExcludedInfo>* excluded, int mergeOnly)
{
    const COrbFuncLog guard(L"COrbWatcher::AddNewQueueItem");
    const CallerTokenScope token;
    m->BeginRun();
    if (!xmlPath || !PathFileExistsW(xmlPath))
        return RulesNotLoaded;
    const TakenRules taken = TakeNewRules(xmlPath, excluded, mergeOnly != 0);
    // With the filter free: a walk may take long, and so may the service.
    MarkExclusions(taken.exclusions);
    // Rules that did not get into the selection file would be gone at the next start.
    if (deleteWhenDone && taken.merged && taken.result != ExclusionsFound)
        DeleteFileW(xmlPath);
    return taken.result;
}

COrbWatcher::TakenRules COrbWatcher::TakeNewRules(const wchar_t* xmlPath, std::vector<ExcludedInfo>* excluded,
                                                  bool mergeOnly)
{
    const ObjectLock lock(m->locks, &m->filter);
    TakenRules taken;
    FilterList loaded, accepted;
    if (!m->filter.LoadXmlFilter(xmlPath, false, &loaded, false, true))
        return taken;
    for (const FilterPtr& rule : loaded)
        if (m->filter.CheckRuleNoConflict(rule)) {
            m->filter.AddSingleFilter(rule, false);
            accepted.push_back(rule);
        } else {
            g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"A rule contradicts the selection and is left out: %s",
                              rule->path.GetString());
        }
    taken.merged = m->dataXmlPath.IsEmpty() || SelectionMerge::MergeIntoFile(m->dataXmlPath, accepted);
    taken.result = RulesQueued;
    // In order also when nothing is queued: checks rely on it.
    if (!accepted.empty())
        m->filter.Sort();
    if (mergeOnly)
        return taken;
    std::copy_if(accepted.begin(), accepted.end(), std::back_inserter(taken.exclusions),
                 [](const FilterPtr& rule) { return rule->incEx != WatcherEnum::Include; });
    if (QueueAcceptedRules(accepted, excluded))
        taken.result = ExclusionsFound;
    return taken;
}

// True when there are exclusions that the caller must see.
bool COrbWatcher::QueueAcceptedRules(const FilterList& accepted, std::vector<ExcludedInfo>* excluded)
{
    bool exclusionsMet = false;
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
    return exclusionsMet;
}

void COrbWatcher::MarkExclusions(const FilterList& exclusions)
{
    if (!m->overlay)
        return;
    for (const FilterPtr& rule : exclusions) {
        OverlayRemover remover(*m);
        if (rule->type != 1 && !IsDirectory(rule->path))
            remover.FileFoundCallback(rule->path, 0);
        else
            remover.ScanFolder(*rule);
    }
}

// The watch thread watches the drive from its next pass on.
void COrbWatcher::RequestDrive(const wchar_t* path)
{
    const CSingleLock lock(m->pendingDrivesLock);
    if (m->driveChanges.insert(OrbFilter::StripToRoot(path)).second)
        m->drivesChanged = true;
}
