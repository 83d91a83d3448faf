// Conversion of text to numbers.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

// Reads leading white space, a sign and decimal digits, and ignores what follows. Returns 0 without digits. A number
// that does not fit is cut to its low 32 bits, not saturated: serial numbers are written signed and unsigned alike. Any
// thread.
inline std::int32_t ToInt32(std::wstring_view text) noexcept
{
    std::size_t at = 0;
    while (at < text.size() && (text[at] == L' ' || (text[at] >= L'\t' && text[at] <= L'\r')))
        ++at;
    const bool negative = at < text.size() && text[at] == L'-';
    if (negative || (at < text.size() && text[at] == L'+'))
        ++at;
    std::uint32_t value = 0;
    for (; at < text.size() && text[at] >= L'0' && text[at] <= L'9'; ++at)
        value = value * 10 + static_cast<std::uint32_t>(text[at] - L'0');
    return static_cast<std::int32_t>(negative ? 0u - value : value);
}

// Reads leading white space, a sign, digits with a point among them and an exponent, and ignores what follows. Returns
// 0 when there is no number, and infinity when the number is too large. The decimal point is a point in every locale.
inline double ToDouble(std::wstring_view text)
{
    const std::size_t begin = std::min(text.find_first_not_of(L" \t\n\v\f\r"), text.size());
    std::string number;
    for (const wchar_t unit : text.substr(begin, text.find_first_not_of(L"+-.0123456789eE", begin) - begin))
        number += static_cast<char>(unit);
    const bool negative = number.starts_with('-');
    if (negative || number.starts_with('+'))
        number.erase(0, 1);
    if (number.starts_with('-'))
        return 0;
    double value = 0;
    const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
    if (result.ec == std::errc::result_out_of_range) {
        const std::size_t exponent = number.find_first_of("eE");
        const bool tiny = exponent == std::string::npos ? number.find_first_of("123456789") > number.find('.')
                                                        : number[exponent + 1] == '-';
        value = tiny ? 0 : std::numeric_limits<double>::infinity();
    }
    return negative ? -value : value;
}
