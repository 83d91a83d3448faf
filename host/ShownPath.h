// Paths in the form for people. Any thread.
#pragma once

#include <string>
#include <string_view>

// Returns the path on one line, harmless to a terminal (see support/HarmlessText.h), ready to be pasted into a command
// line: in double quotes when a shell would split it.
std::wstring ShownPath(std::wstring_view path);
