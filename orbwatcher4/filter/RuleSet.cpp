#include "orbwatcher4/filter/RuleSet.h"

#include "orbwatcher4/filter/Decisions.h"
#include "orbwatcher4/filter/RuleIndex.h"

FilterList& RuleSet::Edit()
{
    m_index.reset();
    return m_rules;
}

void RuleSet::Sort() { Decisions::SortRules(Edit()); }

const RuleIndex& RuleSet::Index() const
{
    // All sets without rules may share one index, so that threads may look at it at once.
    if (m_rules.empty()) {
        static const RuleIndex nothing{FilterList()};
        return nothing;
    }
    if (!m_index)
        m_index = std::make_shared<const RuleIndex>(m_rules);
    return *m_index;
}
