// How a value of a settings file reads as a number and as a text. Any thread.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace SettingsValue
{

// Numbers that do not fit are cut to 32 bits. A text that is a number in decimal counts as one.
std::optional<std::int32_t> AsNumber(const nlohmann::json& value);
// Nothing for lists and groups.
std::optional<std::wstring> AsText(const nlohmann::json& value);

// A lone surrogate becomes U+FFFD: it has no form in UTF-8.
std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view bytes);

} // namespace SettingsValue
