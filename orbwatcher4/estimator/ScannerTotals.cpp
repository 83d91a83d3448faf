// Counts the included files of the cache.
#include "orbwatcher4/Scanner.h"
#include "orbwatcher4/estimator/DriveScans.h"
#include "orbwatcher4/estimator/EntryTree.h"
#include "orbwatcher4/estimator/EstimateSums.h"
#include "orbwatcher4/filter/ApiBoundary.h"
#include "support/Handle.h"
#include "support/SystemPath.h"

#include <algorithm>

namespace
{

bool IsFolderOnDisk(const CString& path)
{
    const DWORD attributes = GetFileAttributesW(SystemPath(path));
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

// Returns the rule that decided. An exclusion ends the walk over the rules, so it is the last rule that took part.
FilterPtr DecidingRule(InclusionType decision, const FilterList& matched)
{
    const auto wanted = decision == Included ? WatcherEnum::Include : WatcherEnum::Exclude;
    const auto found =
        std::find_if(matched.begin(), matched.end(), [&](const FilterPtr& rule) { return rule->incEx == wanted; });
    return found == matched.end() ? nullptr : *found;
}

} // namespace

void Scanner::ClearTotals()
{
    const SpinScope lock(m_totalsLock);
    m_totalSize = 0;
    m_totalCost = 0;
}

void Scanner::Count(const FSEntry& entry)
{
    const SpinScope lock(m_totalsLock);
    m_totalCost = m_totalCost + GetEntryCost(entry);
    m_totalSize += entry.size;
}

bool Scanner::IsAborted() const { return m_abortEvent->IsSet(); }

void Scanner::AbortUpdate() { m_abortEvent->SetEvent(); }

bool Scanner::PrepareRecount()
{
    m_abortEvent->ResetEvent();
    return m_scans->Wait(*m_abortEvent);
}

void Scanner::UpdateTotals()
{
    // The event is reset before the calculation is visible: a caller that sees it and aborts must not come too early.
    m_abortEvent->ResetEvent();
    m_calculating = true;
    AtBoundary(L"Scanner::UpdateTotals", [&] {
        const bool ready = m_scans->Wait(*m_abortEvent);
        ClearTotals();
        if (ready)
            UpdateTotals(m_entryCache, nullptr);
    });
    m_calculating = false;
}

void Scanner::UpdateTotals(const std::shared_ptr<const FSEntrySet>& set, const wchar_t* parentPath)
{
    EntryWalk walk(set, parentPath);
    while (!IsAborted()) {
        const EntryWalk::Step step = walk.Next();
        if (step == EntryWalk::Step::Done)
            return;
        if (step == EntryWalk::Step::File && JudgeEntry(walk.Path(), walk.File()).decision == Included)
            Count(walk.File());
    }
}

InclusionType Scanner::Judge(const wchar_t* path, FilterPtr* deciding)
{
    return AtBoundary(L"Scanner::Judge", Included, [&]() -> InclusionType {
        FilterList matched;
        const InclusionType decision = m_selection.CheckForInclusion(path, &matched, true, false);
        if (deciding)
            *deciding = DecidingRule(decision, matched);
        return decision;
    });
}

JudgedFile Scanner::JudgeEntry(const CString& path, const FSEntry& entry)
{
    JudgedFile file;
    file.path = IsFolderOnDisk(path) ? path + L'\\' : path;
    file.size = entry.size;
    file.decision = Judge(file.path, &file.rule);
    return file;
}

bool Scanner::ForEachFile(const std::function<void(const JudgedFile&)>& take)
{
    return AtBoundary(L"Scanner::ForEachFile", false, [&]() -> bool {
        if (!PrepareRecount())
            return false;
        EntryWalk walk(m_entryCache, nullptr);
        while (!IsAborted()) {
            const EntryWalk::Step step = walk.Next();
            if (step == EntryWalk::Step::Done)
                return true;
            if (step == EntryWalk::Step::File)
                take(JudgeEntry(walk.Path(), walk.File()));
        }
        return false;
    });
}

Estimate Scanner::GetEstimate()
{
    return AtBoundary(L"Scanner::GetEstimate", Estimate(), [&]() -> Estimate {
        EstimateSums sums;
        if (!PrepareRecount())
            return sums.Finish(false);
        EntryWalk walk(m_entryCache, nullptr);
        while (!IsAborted())
            switch (walk.Next()) {
            case EntryWalk::Step::File:
                sums.TakeFile(JudgeEntry(walk.Path(), walk.File()));
                break;
            case EntryWalk::Step::FolderBegins:
                sums.BeginFolder();
                break;
            case EntryWalk::Step::FolderEnds:
                sums.EndFolder(walk.Path());
                break;
            case EntryWalk::Step::Done:
                return sums.Finish(true);
            }
        return sums.Finish(false);
    });
}
