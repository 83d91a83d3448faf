// Adds rules while the watcher runs.
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/Completes.h"
#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/OverlayRemover.h"
#include "orbwatcher4/core/SelectionMerge.h"
#include "orbwatcher4/core/SelectionNote.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/Impersonation.h"
#include "support/WithoutThreadToken.h"

#include <shlwapi.h>

AddQueueItemResult COrbWatcher::AddNewQueueItem(const wchar_t* xmlPath, bool deleteWhenDone,
                                                std::vector<ExcludedInfo>* excluded, int mergeOnly)
{
    const COrbFuncLog guard(L"COrbWatcher::AddNewQueueItem");
    const CallerTokenScope token;
    m->due.BeginRun(m->config.Use());
    if (!xmlPath || !PathFileExistsW(xmlPath))
        return RulesNotLoaded;
    AddQueueItemResult result = RulesNotLoaded;
    const auto take = [&] { result = TakeAndQueueRules(xmlPath, deleteWhenDone, excluded, mergeOnly); };
    // The file of the rules still exists. If queueing fails, a full enumeration becomes due.
    if (!Completes(L"Adding rules", take))
        m->due.MakeFull();
    return result;
}

AddQueueItemResult COrbWatcher::TakeAndQueueRules(const wchar_t* xmlPath, bool deleteWhenDone,
                                                  std::vector<ExcludedInfo>* excluded, int mergeOnly)
{
    const CString before = SelectionNote::Of(m->config.files.OfTheSelection());
    const TakenRules taken = TakeNewRules(xmlPath);
    const CString now = SelectionNote::Of(m->config.files.OfTheSelection());
    AddQueueItemResult result = taken.loaded ? RulesQueued : RulesNotLoaded;
    if (!mergeOnly) {
        const ActingForUser user(m->config.userToken);
        if (!user.Acts())
            m->due.MakeFull();
        // With the filter unlocked: a walk may take long, and so may the overlay service.
        if (QueueAcceptedRules(taken.accepted, excluded, user.Acts()))
            result = ExclusionsFound;
        if (user.Acts())
            MarkExclusions(taken.accepted);
        if (user.Acts() && taken.merged)
            m->due.NoteNewRules(before, now);
    }
    if (deleteWhenDone && taken.merged && result != ExclusionsFound)
        DeleteFileW(xmlPath);
    return result;
}

COrbWatcher::TakenRules COrbWatcher::TakeNewRules(const wchar_t* xmlPath)
{
    const WithoutThreadToken asProcess; // the service has named the files
    const CSingleLock lock(m->selection.primaryLock);
    TakenRules taken;
    FilterList loaded;
    taken.loaded = m->selection.primary.LoadXmlFilter(xmlPath, false, &loaded, false, true);
    m->findings.Add(m->selection.primary.Findings());
    if (!taken.loaded)
        return taken;
    const auto takeBack = [&] {
        m->selection.primaryLock.RequireHeld();
        for (const FilterPtr& rule : taken.accepted)
            m->selection.primary.RemoveSingleFilter(rule, false, false);
        m->selection.primary.Sort();
    };
    bool merged = false;
    try {
        AcceptRules(loaded, taken.accepted);
        merged = m->config.files.data.IsEmpty() || SelectionMerge::MergeIntoFile(m->config.files.data, taken.accepted);
    } catch (...) {
        Completes(L"Taking new rules back", takeBack);
        throw;
    }
    // Rules that could not be merged into the selection file would be gone at the next start, so they are refused.
    if (!merged) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"New rules are refused, they cannot be merged into %s",
                          m->config.files.data.GetString());
        takeBack();
        return {false, false, {}};
    }
    // The rules must be in order even when nothing is queued, because decisions rely on it.
    if (!taken.accepted.empty())
        m->selection.primary.Sort();
    return taken;
}

void COrbWatcher::AcceptRules(const FilterList& loaded, FilterList& accepted)
{
    m->selection.primaryLock.RequireHeld();
    accepted.reserve(loaded.size());
    for (const FilterPtr& rule : loaded)
        if (m->selection.primary.CheckRuleNoConflict(rule)) {
            m->selection.primary.AddSingleFilter(rule, false);
            accepted.push_back(rule);
        } else {
            g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"A rule contradicts the selection and is left out: %s",
                              rule->path.GetString());
        }
}

// Returns true when there are exclusions that the caller must see.
bool COrbWatcher::QueueAcceptedRules(const FilterList& accepted, std::vector<ExcludedInfo>* excluded, bool mayLook)
{
    bool exclusionsMet = false;
    // The drives come first: if a walk fails, the enumeration that becomes due finds the files.
    for (const FilterPtr& rule : accepted)
        if (rule->incEx == WatcherEnum::Include)
            RequestDrive(rule->path);
    for (const FilterPtr& rule : accepted) {
        if (rule->incEx == WatcherEnum::Include) {
            if (mayLook)
                m->changeHandler.ProcessChangedFile(rule->path, true, false);
        } else if (rule->mask.IsEmpty()) {
            exclusionsMet = true;
            if (excluded)
                excluded->push_back({rule->type != 0 ? 1 : 0, rule->path});
        }
    }
    return exclusionsMet;
}

void COrbWatcher::MarkExclusions(const FilterList& accepted)
{
    if (!m->config.overlay)
        return;
    for (const FilterPtr& rule : accepted) {
        if (rule->incEx == WatcherEnum::Include)
            continue;
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
