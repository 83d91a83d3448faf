// Reads a value of a settings file as a number or as a text. Any thread.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace SettingsValue
{

// Returns a number; one that does not fit is cut to 32 bits. A text that is a decimal number counts as a number.
std::optional<std::int32_t> AsNumber(const nlohmann::json& value);
// Returns a text; nothing for lists and groups.
std::optional<std::wstring> AsText(const nlohmann::json& value);

// Converts to UTF-8. A lone surrogate becomes U+FFFD, because it has no form in UTF-8.
std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view bytes);

} // namespace SettingsValue
