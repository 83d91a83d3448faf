#include "support/Wildcard.h"

#include "support/CaseFold.h"

#include <algorithm>

bool MatchWildcard(std::wstring_view pattern, std::wstring_view text) noexcept
{
    // It is enough to go back to the last star, which keeps hostile patterns cheap.
    constexpr auto none = std::wstring_view::npos;
    std::size_t p = 0, t = 0, star = none, resume = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == L'*') {
            star = p++;
            resume = t;
        } else if (p < pattern.size() && (pattern[p] == L'?' || UpperUnit(static_cast<std::uint16_t>(pattern[p])) ==
                                                                    UpperUnit(static_cast<std::uint16_t>(text[t])))) {
            ++p;
            ++t;
        } else if (star != none) {
            p = star + 1;
            t = ++resume;
        } else {
            return false;
        }
    }
    return std::all_of(pattern.begin() + p, pattern.end(), [](wchar_t unit) { return unit == L'*'; });
}

bool MatchAnyWildcard(std::wstring_view patterns, std::wstring_view text) noexcept
{
    while (!patterns.empty()) {
        const std::wstring_view pattern = patterns.substr(0, patterns.find(L';'));
        if (!pattern.empty() && MatchWildcard(pattern, text))
            return true;
        patterns.remove_prefix(std::min(patterns.size(), pattern.size() + 1));
    }
    return false;
}
