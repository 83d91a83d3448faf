#include "orbwatcher4/core/pending/Notification.h"

#include "orbwatcher4/QueueDatum.h"

#include <string>

namespace
{

constexpr std::uint32_t CopiedFlags = QueueFlags::Internal | QueueFlags::Rule800 | QueueFlags::EvenWhenHidden |
                                      QueueFlags::Recovery40000 | QueueFlags::Recovery80000 |
                                      QueueFlags::DedupCandidate;
constexpr std::uint32_t RecoveryFlags = QueueFlags::Recovery40000 | QueueFlags::Recovery80000;

} // namespace

void FillFromRules(Notification& notification, const FilterList& rules)
{
    CString texts, numbers;
    for (std::size_t i = 0; i < rules.size(); ++i) {
        const Filter& rule = *rules[i];
        if (rule.pluginName.IsEmpty()) {
            notification.ruleFlags |= QueueFlags::RuleWithoutText;
        } else if (texts.Find(rule.pluginName.GetString()) < 0) {
            texts = texts.IsEmpty() ? rule.pluginName : texts + rule.pluginName; // the first one is shared
            numbers += std::to_wstring(rule.pluginId);
            if (i + 1 < rules.size()) {
                texts += L':';
                numbers += L':';
            }
        }
        notification.ruleFlags |= rule.flags & CopiedFlags;
        notification.ruleValue |= static_cast<std::uint32_t>(rule.jobid);
        // Once an item is shown, no later rule hides it.
        if (!(notification.ruleFlags & RecoveryFlags))
            notification.ruleFlags |= QueueFlags::ShowOverlay;
    }
    if (!texts.IsEmpty() && !numbers.IsEmpty()) {
        for (CString* text : {&texts, &numbers})
            if ((*text)[text->GetLength() - 1] == L':')
                *text = text->Left(text->GetLength() - 1);
    }
    notification.firstText = texts;
    notification.secondText = numbers;
}
