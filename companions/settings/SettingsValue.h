// Reads a value of a settings file as a number or as a text. Any thread.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace SettingsValue
{

// Returns a number; one that does not fit is cut to 32 bits. A text that is a decimal number counts as a number.
std::optional<std::int32_t> AsNumber(const nlohmann::json& value);
// Returns a text; nothing for lists and groups.
std::optional<std::wstring> AsText(const nlohmann::json& value);

} // namespace SettingsValue
