#include "orbwatcher4/core/selection/NewRules.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/selection/SelectionMerge.h"
#include "support/DigestOfFiles.h"
#include "support/WithoutThreadToken.h"

namespace
{

// Reads the rules of the file, and adds those that do not contradict the selection. Returns copies of these, which hold
// the texts of their elements for the merge: other threads use the added rules from now on.
FilterList AddRules(Selection& selection, const wchar_t* xmlPath, TakenRules& taken)
{
    FilterList loaded, texts;
    const CSingleLock lock(selection.primaryLock);
    taken.loaded = selection.primary.LoadXmlFilter(xmlPath, false, &loaded, false, true);
    selection.findings.Add(selection.primary.Findings());
    if (!taken.loaded)
        return texts;
    for (const FilterPtr& rule : loaded) {
        if (!selection.primary.CheckRuleNoConflict(rule)) {
            g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"A rule contradicts the selection and is left out: %s",
                              rule->path.GetString());
            continue;
        }
        taken.accepted.push_back(rule);
        texts.push_back(std::make_shared<Filter>(*rule));
        rule->itemText.Empty();
        selection.primary.AddSingleFilter(rule, false);
    }
    // The rules must be in order even when nothing is queued, because decisions rely on it.
    if (!taken.accepted.empty())
        selection.primary.Sort();
    return texts;
}

void RemoveRules(Selection& selection, const FilterList& rules)
{
    const CSingleLock lock(selection.primaryLock);
    for (const FilterPtr& rule : rules)
        selection.primary.RemoveSingleFilter(rule, false, false);
    selection.primary.Sort();
}

bool MergeRules(const SelectionFiles& files, const FilterList& texts)
{
    const LockOrder::DiskScope disk;
    return files.data.IsEmpty() || SelectionMerge::MergeIntoFile(files.data, texts);
}

void NoteContent(Selection& selection, const TakenRules& taken)
{
    const CSingleLock lock(selection.primaryLock);
    if (selection.content == taken.before)
        selection.content = taken.now;
}

} // namespace

TakenRules TakeNewRules(Selection& selection, const wchar_t* xmlPath)
{
    const WithoutThreadToken asProcess; // the service has named the files
    const CSingleLock oneAtATime(selection.filesLock);
    TakenRules taken;
    bool merged = false;
    try {
        taken.before = DigestOfFiles(selection.config.files.OfTheSelection());
        const FilterList texts = AddRules(selection, xmlPath, taken);
        if (!taken.loaded)
            return taken;
        merged = MergeRules(selection.config.files, texts);
    } catch (...) {
        Completes(L"Taking new rules back", [&] { RemoveRules(selection, taken.accepted); });
        throw;
    }
    // Rules that could not be merged into the selection file would be gone at the next start, so they are refused.
    if (!merged) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"New rules are refused, they cannot be merged into %s",
                          selection.config.files.data.GetString());
        RemoveRules(selection, taken.accepted);
        TakenRules none;
        none.merged = false;
        return none;
    }
    taken.now = DigestOfFiles(selection.config.files.OfTheSelection());
    NoteContent(selection, taken);
    return taken;
}
