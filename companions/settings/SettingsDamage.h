// Says what is wrong with a settings file, and what its loss means. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace SettingsDamage
{

// Returns the line at which the text stops to be JSON, with a hint for a single backslash; empty when it does not stop.
std::wstring PlaceIn(const std::string& text);
// Returns what cannot be known without the file; empty when everything else says so. `file`: its name in the data
// folder.
std::wstring LossOf(std::wstring_view file);

} // namespace SettingsDamage
