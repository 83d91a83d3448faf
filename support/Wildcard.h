// Patterns with "*" (any run, also an empty one) and "?" (any one unit).
// Letters compare without regard to case. Any thread.
#pragma once

#include <string_view>

bool MatchWildcard(std::wstring_view pattern, std::wstring_view text) noexcept;

// Tries the ";"-separated patterns of a list in turn; empty patterns match nothing.
bool MatchAnyWildcard(std::wstring_view patterns, std::wstring_view text) noexcept;
