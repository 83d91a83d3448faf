#include "orbwatcher4/core/selection/NewRules.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/selection/SelectionMerge.h"
#include "support/DigestOfFiles.h"
#include "support/WithoutThreadToken.h"

namespace
{

// Leaves out what contradicts the selection.
void AcceptRules(Selection& selection, const FilterList& loaded, FilterList& accepted)
{
    selection.primaryLock.RequireHeld();
    accepted.reserve(loaded.size());
    for (const FilterPtr& rule : loaded)
        if (selection.primary.CheckRuleNoConflict(rule)) {
            selection.primary.AddSingleFilter(rule, false);
            accepted.push_back(rule);
        } else {
            g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"A rule contradicts the selection and is left out: %s",
                              rule->path.GetString());
        }
}

} // namespace

TakenRules TakeNewRules(Selection& selection, const wchar_t* xmlPath)
{
    const WithoutThreadToken asProcess; // the service has named the files
    const CSingleLock lock(selection.primaryLock);
    TakenRules taken;
    FilterList loaded;
    taken.loaded = selection.primary.LoadXmlFilter(xmlPath, false, &loaded, false, true);
    selection.findings.Add(selection.primary.Findings());
    if (!taken.loaded)
        return taken;
    const auto takeBack = [&] {
        selection.primaryLock.RequireHeld();
        for (const FilterPtr& rule : taken.accepted)
            selection.primary.RemoveSingleFilter(rule, false, false);
        selection.primary.Sort();
    };
    bool merged = false;
    try {
        taken.before = DigestOfFiles(selection.config.files.OfTheSelection());
        AcceptRules(selection, loaded, taken.accepted);
        merged = selection.config.files.data.IsEmpty() ||
                 SelectionMerge::MergeIntoFile(selection.config.files.data, taken.accepted);
    } catch (...) {
        Completes(L"Taking new rules back", takeBack);
        throw;
    }
    // Rules that could not be merged into the selection file would be gone at the next start, so they are refused.
    if (!merged) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"New rules are refused, they cannot be merged into %s",
                          selection.config.files.data.GetString());
        takeBack();
        TakenRules none;
        none.merged = false;
        return none;
    }
    taken.now = DigestOfFiles(selection.config.files.OfTheSelection());
    if (selection.content == taken.before)
        selection.content = taken.now;
    // The rules must be in order even when nothing is queued, because decisions rely on it.
    if (!taken.accepted.empty())
        selection.primary.Sort();
    return taken;
}
