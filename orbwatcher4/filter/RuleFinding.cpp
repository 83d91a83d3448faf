#include "orbwatcher4/filter/RuleFinding.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <utility>

CString RuleFinding::Message() const
{
    std::wstring place;
    if (line != 0)
        place = L"line " + std::to_wstring(line);
    if (line != 0 && item == 0 && column != 0)
        place += L", column " + std::to_wstring(column);
    if (item != 0)
        place += (place.empty() ? L"item " : L", item ") + std::to_wstring(item);
    if (!place.empty())
        place += L": ";
    return CString(std::wstring_view(place.append(text.View())));
}

bool RuleFindings::Add(const RuleFinding& finding)
{
    if (++m_counts[static_cast<std::size_t>(finding.kind)] > MostKept)
        return false;
    m_kept.push_back(finding);
    return true;
}

void RuleFindings::Append(const RuleFindings& other)
{
    const std::array<std::size_t, Kinds> before = m_counts;
    for (const RuleFinding& finding : other.m_kept)
        Add(finding);
    for (std::size_t kind = 0; kind < Kinds; ++kind)
        m_counts[kind] = before[kind] + other.m_counts[kind];
}

void RuleFindings::SortByLine(std::size_t first)
{
    const auto from = m_kept.begin() + static_cast<std::ptrdiff_t>(first);
    std::stable_sort(from, m_kept.end(), [](const RuleFinding& left, const RuleFinding& right) {
        return std::pair(left.line, left.column) < std::pair(right.line, right.column);
    });
}

std::size_t RuleFindings::More() const
{
    return std::accumulate(m_counts.begin(), m_counts.end(), std::size_t(0)) - m_kept.size();
}

bool RuleFindings::ChangeTheSelection() const
{
    return Count(RuleFinding::Kind::FileUnread) + Count(RuleFinding::Kind::ItemRefused) +
               Count(RuleFinding::Kind::ValueDropped) !=
           0;
}
