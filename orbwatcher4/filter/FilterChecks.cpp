// The checks of OrbFilter: the decisions, with the answers of this machine.
#include "companions/indexdb/OrbIndexDB.h"
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/ApiBoundary.h"
#include "orbwatcher4/filter/Decisions.h"
#include "support/Backslash.h"
#include "support/SystemPath.h"

#include <windows.h>

#include <algorithm>

namespace
{

class Machine final : public Decisions::AdvancedHost
{
public:
    std::uint32_t Attributes(const wchar_t* path) override { return GetFileAttributesW(SystemPath(path)); }

    void RegexSkipped(Unknown why, const wchar_t* path) override
    {
        if (why == Unknown::BadPattern)
            g_OrbLog.WriteLog(2, L"OrbFilter", __LINE__, L"Regular expression failed to compile, skipping rule check");
        else
            g_OrbLog.WriteLog(2, L"OrbFilter", __LINE__, L"Regular expression gave up on %s, skipping rule check",
                              path);
    }

    void RegexSwitchedOff(const Filter& rule, int seconds) override
    {
        g_OrbLog.WriteLog(
            2, L"OrbFilter", __LINE__,
            L"The regular expression %s gave up again and again. It decides nothing for %d s: the rule lets "
            L"files in",
            rule.mask.GetString(), seconds);
    }

    void TreatedAsIncluded() override { g_OrbLog.Log(L"Treating file as included"); }

    void EndingsMissed(const wchar_t* path, bool excluded) override
    {
        g_OrbLog.Log(L"all selections extension rule did not match the file");
        g_OrbLog.Log(excluded ? L"File: %s is Excluded due to all selections extension rule"
                              : L"File: %s is Included due to all selections extension rule",
                     path);
    }
};

} // namespace

bool OrbFilter::IsInBackupFolder(const wchar_t* path) const { return WhyKeptOut(path) == KeptOut::Destination; }

InclusionType OrbFilter::CheckForInclusion(const wchar_t* path, FilterList* matched, bool clearMatched,
                                           bool useIndexCache)
{
    return AtBoundary(L"OrbFilter::CheckForInclusion", Included, [&]() -> InclusionType {
        if (clearMatched && matched)
            matched->clear();
        if (WhyKeptOut(path) != KeptOut::No)
            return NotIncluded;
        CachedDatum datum;
        const bool included = useIndexCache && CIndexDB::GetCachedData(path, datum);
        const std::wstring_view text = path;
        return Decisions::CheckRules(RulesForPath(m_driveRules, text), text, included, matched);
    });
}

bool OrbFilter::MaySelectBelow(const wchar_t* folder) const
{
    return AtBoundary(L"OrbFilter::MaySelectBelow", true, [&]() -> bool {
        const CString path = WithBackslash(folder);
        if (WhyKeptOut(path) != KeptOut::No)
            return false;
        const RuleSet* const rules = RulesOfPath(m_driveRules, path.View());
        const RuleSet* const advanced = RulesOfPath(AdvancedMap(), path.View());
        static const RuleSet none;
        return rules && Decisions::MaySelectBelow(*rules, advanced ? *advanced : none, path.View());
    });
}

InclusionType OrbFilter::CheckForAdvancedInclusionEx(const wchar_t* path, FilterPtr rule)
{
    return AtBoundary(L"OrbFilter::CheckForAdvancedInclusionEx", Included, [&]() -> InclusionType {
        Machine machine;
        return Decisions::CheckAdvancedRule(rule, path, machine).result;
    });
}

InclusionType OrbFilter::CheckForAdvancedInclusion(const wchar_t* path, FilterPtr* deciding)
{
    return AdvancedRules(m_advancedRules).Check(path, deciding);
}

AdvancedRules OrbFilter::CurrentAdvancedRules() const
{
    return AtBoundary(L"OrbFilter::CurrentAdvancedRules", AdvancedRules(), [&]() -> AdvancedRules {
        // The indexes are made here, where neither edits nor other checks run. From now on checks may overlap.
        for (const auto& [root, rules] : AdvancedMap())
            rules.Index();
        return AdvancedRules(m_advancedRules);
    });
}

InclusionType AdvancedRules::Check(const wchar_t* path, FilterPtr* deciding) const
{
    return AtBoundary(L"AdvancedRules::Check", Included, [&]() -> InclusionType {
        if (deciding)
            deciding->reset();
        if (!m_rules || m_rules->empty())
            return Included;
        const auto everywhere = m_rules->find(std::wstring_view(AllPaths));
        const RuleSet* const drive = OrbFilter::RulesOfPath(*m_rules, path);
        static const RuleSet none;
        Machine machine;
        const Decisions::AdvancedResult answer = Decisions::CheckAdvancedRules(
            drive ? *drive : none, everywhere == m_rules->end() ? none : everywhere->second, path, machine);
        if (deciding)
            *deciding = answer.deciding;
        return answer.result;
    });
}

bool OrbFilter::IsSkipAdvancedFilterCheck(const wchar_t*, FilterList matched)
{
    return AdvancedMap().empty() || Decisions::SelectedExplicitly(matched);
}

bool OrbFilter::IsDRFilter(FilterPtr rule) { return Decisions::IsDisasterRecovery(*rule); }

bool OrbFilter::IsDriveIncludeRules(const wchar_t* drive)
{
    return AtBoundary(L"OrbFilter::IsDriveIncludeRules", true, [&]() -> bool {
        const RuleSet* const rules = RulesOfPath(m_driveRules, drive);
        return rules && std::any_of(rules->Rules().begin(), rules->Rules().end(),
                                    [](const FilterPtr& rule) { return rule->incEx == WatcherEnum::Include; });
    });
}

bool OrbFilter::IsDriveIncludeOnlyFiles(const wchar_t* drive)
{
    return AtBoundary(L"OrbFilter::IsDriveIncludeOnlyFiles", false, [&]() -> bool {
        const RuleSet* const rules = RulesOfPath(m_driveRules, drive);
        return !rules || std::none_of(rules->Rules().begin(), rules->Rules().end(), [](const FilterPtr& rule) {
            return rule->incEx == WatcherEnum::Include && rule->type == 1;
        });
    });
}
