// Paths as people see them. Any thread.
#pragma once

#include <string>
#include <string_view>

// Returns the path on one line, harmless to a terminal (see support/HarmlessText.h), to be pasted into a command line:
// in double quotes where a shell would take it apart.
std::wstring ShownPath(std::wstring_view path);
