// Reading numbers out of text.
#pragma once

#include <cstdint>
#include <string_view>

// Leading white space, a sign, decimal digits; what follows is ignored and no digits read as 0. A number
// that does not fit is cut to its low 32 bits, never saturated: serial numbers are written signed and
// unsigned alike. Any thread.
inline std::int32_t ToInt32(std::wstring_view text) noexcept
{
    std::size_t at = text.find_first_not_of(L" \t\n\v\f\r");
    if (at == std::wstring_view::npos)
        return 0;
    const bool negative = text[at] == L'-';
    if (negative || text[at] == L'+')
        ++at;
    std::uint32_t value = 0;
    for (; at < text.size() && text[at] >= L'0' && text[at] <= L'9'; ++at)
        value = value * 10 + static_cast<std::uint32_t>(text[at] - L'0');
    return static_cast<std::int32_t>(negative ? 0u - value : value);
}
