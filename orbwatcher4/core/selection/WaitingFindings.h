// The findings of loading the selection, until the service takes them. Any thread.
#pragma once

#include "orbwatcher4/filter/RuleFinding.h"
#include "support/RankedSection.h"

#include <utility>

class WaitingFindings
{
public:
    void Add(const RuleFindings& findings)
    {
        const CSingleLock lock(m_lock);
        m_findings.Append(findings);
    }
    // Returns the findings since the last call.
    RuleFindings Take()
    {
        const CSingleLock lock(m_lock);
        return std::exchange(m_findings, {});
    }

private:
    RankedSection m_lock{LockRank::Leaf, L"findings of the selection"};
    RuleFindings m_findings ORB_GUARDED_BY(m_lock);
};
