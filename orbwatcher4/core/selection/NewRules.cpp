#include "orbwatcher4/core/selection/NewRules.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/selection/SelectionMerge.h"
#include "orbwatcher4/filter/FilterAccess.h"
#include "support/DigestOfFiles.h"
#include "support/WithoutThreadToken.h"

#include <new>

namespace
{

// Reads the rules with the filter unlocked, because the drives are asked for their volumes.
FilterList ReadRules(Selection& selection, const wchar_t* xmlPath, bool& loaded)
{
    OrbFilter reader;
    {
        const CSingleLock lock(selection.primaryLock);
        FilterAccess::PrepareToRead(reader, selection.primary);
    }
    FilterList read;
    loaded = reader.LoadXmlFilter(xmlPath, false, &read, false, true);
    selection.findings.Add(reader.Findings());
    const CSingleLock lock(selection.primaryLock);
    FilterAccess::TakeFileOf(selection.primary, reader);
    return read;
}

// Returns the rules that contradict neither the selection nor each other. They are not in the filter yet.
FilterList Acceptable(Selection& selection, const FilterList& read)
{
    FilterList accepted;
    const CSingleLock lock(selection.primaryLock);
    RulesByPath known = FilterAccess::RulesOf(selection.primary);
    for (const FilterPtr& rule : read)
        if (!known.HasConflict(*rule)) {
            accepted.push_back(rule);
            known.Add(rule);
        } else {
            g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"A rule contradicts the selection and is left out: %s",
                              rule->path.GetString());
        }
    return accepted;
}

bool MergeRules(const SelectionFiles& files, const FilterList& rules)
{
    const LockOrder::DiskScope disk;
    return files.data.IsEmpty() || SelectionMerge::MergeIntoFile(files.data, rules);
}

void AddRules(Selection& selection, const TakenRules& taken)
{
    const CSingleLock lock(selection.primaryLock);
    bool all = true;
    for (const FilterPtr& rule : taken.accepted)
        all = selection.primary.AddSingleFilter(rule, false) && all;
    // The rules must be in order even when nothing is queued, because decisions rely on it.
    if (!taken.accepted.empty())
        selection.primary.Sort();
    if (!all)
        throw std::bad_alloc();
    if (selection.content == taken.before)
        selection.content = taken.now;
}

} // namespace

// The rules count from the moment when they are in the file. Before, a refused rule would have made other threads drop
// changes, or take them in.
TakenRules TakeNewRules(Selection& selection, const wchar_t* xmlPath)
{
    const WithoutThreadToken asProcess; // the service has named the files
    const CSingleLock oneAtATime(selection.filesLock);
    TakenRules taken;
    taken.before = DigestOfFiles(selection.config.files.OfTheSelection());
    const FilterList read = ReadRules(selection, xmlPath, taken.loaded);
    if (!taken.loaded)
        return taken;
    taken.accepted = Acceptable(selection, read);
    // Rules that could not be merged into the selection file would be gone at the next start, so they are refused.
    if (!MergeRules(selection.config.files, taken.accepted)) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"New rules are refused, they cannot be merged into %s",
                          selection.config.files.data.GetString());
        TakenRules none;
        none.merged = false;
        return none;
    }
    taken.now = DigestOfFiles(selection.config.files.OfTheSelection());
    AddRules(selection, taken);
    return taken;
}
