#include "companions/settings/SettingsValue.h"

#include "support/Utf8Text.h"

#include <nlohmann/json.hpp>

#include <cmath>

namespace SettingsValue
{
namespace
{

constexpr double TwoTo32 = 4294967296.0;

std::int32_t Cut(double value)
{
    if (!std::isfinite(value))
        return 0;
    const double low = std::fmod(std::trunc(value), TwoTo32); // between -2^32 and 2^32
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::int64_t>(low)));
}

std::optional<std::int32_t> NumberInText(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(" \t");
    const std::size_t last = text.find_last_not_of(" \t");
    if (first == std::string_view::npos)
        return std::nullopt;
    text = text.substr(first, last - first + 1);
    const bool negative = text.front() == '-';
    if (negative || text.front() == '+')
        text.remove_prefix(1);
    if (text.empty())
        return std::nullopt;
    std::uint32_t number = 0;
    for (const char digit : text) {
        if (digit < '0' || digit > '9')
            return std::nullopt;
        number = number * 10 + static_cast<std::uint32_t>(digit - '0');
    }
    return static_cast<std::int32_t>(negative ? 0 - number : number);
}

} // namespace

std::optional<std::int32_t> AsNumber(const nlohmann::json& value)
{
    switch (value.type()) {
    case nlohmann::json::value_t::boolean:
        return value.get<bool>() ? 1 : 0;
    case nlohmann::json::value_t::number_integer:
    case nlohmann::json::value_t::number_unsigned:
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(value.get<std::uint64_t>()));
    case nlohmann::json::value_t::number_float:
        return Cut(value.get<double>());
    case nlohmann::json::value_t::string:
        return NumberInText(value.get_ref<const std::string&>());
    default:
        return std::nullopt;
    }
}

std::optional<std::wstring> AsText(const nlohmann::json& value)
{
    if (value.is_string())
        return FromUtf8(value.get_ref<const std::string&>());
    if (value.is_boolean())
        return value.get<bool>() ? L"1" : L"0";
    if (value.is_number())
        return FromUtf8(value.dump());
    return std::nullopt;
}

} // namespace SettingsValue
