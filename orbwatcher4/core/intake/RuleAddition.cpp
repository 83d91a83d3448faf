#include "orbwatcher4/core/intake/RuleAddition.h"

#include "orbwatcher4/core/environment/ActingForUser.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/environment/FileFindData.h"
#include "orbwatcher4/core/overlay/OverlayRemover.h"
#include "orbwatcher4/core/selection/NewRules.h"

#include <shlwapi.h>

AddQueueItemResult RuleAddition::Add(const wchar_t* xmlPath, bool deleteWhenDone, std::vector<ExcludedInfo>* excluded,
                                     bool mergeOnly)
{
    const CallerTokenScope token;
    m.due.BeginRun(m.config.Use());
    if (!xmlPath || !PathFileExistsW(xmlPath))
        return RulesNotLoaded;
    AddQueueItemResult result = RulesNotLoaded;
    // The file of the rules still exists. If queueing fails, a full enumeration becomes due.
    if (!Completes(L"Adding rules", [&] { result = TakeAndQueue(xmlPath, deleteWhenDone, excluded, mergeOnly); }))
        m.due.MakeFull();
    return result;
}

AddQueueItemResult RuleAddition::TakeAndQueue(const wchar_t* xmlPath, bool deleteWhenDone,
                                              std::vector<ExcludedInfo>* excluded, bool mergeOnly)
{
    const TakenRules taken = TakeNewRules(m.selection, xmlPath);
    AddQueueItemResult result = taken.loaded ? RulesQueued : RulesNotLoaded;
    if (!mergeOnly) {
        const ActingForUser user(m.config.userToken);
        if (!user.Acts())
            m.due.MakeFull();
        // With the filter unlocked: a walk may take long, and so may the overlay service.
        if (QueueAccepted(taken.accepted, excluded, user.Acts()))
            result = ExclusionsFound;
        if (user.Acts())
            MarkExclusions(taken.accepted);
        if (user.Acts() && taken.loaded && taken.merged)
            m.due.NoteNewRules(taken.before, taken.now);
    }
    if (deleteWhenDone && taken.merged && result != ExclusionsFound)
        DeleteFileW(xmlPath);
    return result;
}

// Returns true when there are exclusions that the caller must see.
bool RuleAddition::QueueAccepted(const FilterList& accepted, std::vector<ExcludedInfo>* excluded, bool mayLook)
{
    bool exclusionsMet = false;
    // The drives come first: if a walk fails, the enumeration that becomes due finds the files.
    for (const FilterPtr& rule : accepted)
        if (rule->incEx == WatcherEnum::Include)
            m.selection.requestedRoots.Request(rule->path);
    for (const FilterPtr& rule : accepted) {
        if (rule->incEx == WatcherEnum::Include) {
            if (mayLook)
                Queue(rule->path);
        } else if (rule->mask.IsEmpty()) {
            exclusionsMet = true;
            if (excluded)
                excluded->push_back({rule->type != 0 ? 1 : 0, rule->path});
        }
    }
    return exclusionsMet;
}

// When the drive of a rule is away, a rescan looks at the rule's files as soon as the drive comes, also in the next
// run.
void RuleAddition::Queue(const CString& path)
{
    const CString root = OrbFilter::StripToRoot(path);
    if (!IsReachable(root) || m.selection.volumes.IsOther(root))
        m.due.Rescans().Report(root, DueRescans::DriveReturned, m.config.clock->Seconds());
    else
        m_handler.ProcessChangedFile(path, Arrival::Rule);
}

void RuleAddition::MarkExclusions(const FilterList& accepted)
{
    if (!m.overlay.AreWanted())
        return;
    for (const FilterPtr& rule : accepted) {
        if (rule->incEx == WatcherEnum::Include)
            continue;
        OverlayRemover remover(m.selection, m.overlay, m.stop);
        if (rule->type != 1 && !IsDirectory(rule->path))
            remover.FileFoundCallback(rule->path, 0);
        else
            remover.ScanFolder(*rule);
    }
}
