// The two names with which the system begins the list of a folder.
#pragma once

#include <string_view>

// Returns true for "." and "..", which stand for the folder itself and the one above it.
constexpr bool IsDots(std::wstring_view name) { return name == L"." || name == L".."; }
