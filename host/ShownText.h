// Names and paths as people see them. Any thread.
#pragma once

#include <string>
#include <string_view>

// On one line, and harmless to a terminal: control characters, those that turn the direction of writing, and halves
// of surrogate pairs become U+FFFD.
std::wstring ShownText(std::wstring_view text);
// The same, to be pasted into a command line: in double quotes where a shell would take it apart.
std::wstring ShownPath(std::wstring_view path);
