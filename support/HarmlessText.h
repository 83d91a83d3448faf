// Makes texts that other users have chosen, such as names of files, safe for a terminal, a log or a program. Any
// thread.
#pragma once

#include <string>
#include <string_view>

// Returns whether the unit breaks a line or turns the direction of writing: control characters (C0, DEL, C1), line and
// paragraph separators, and the marks that steer bidirectional text (Unicode Standard Annex 9, section 2).
bool IsHarmfulUnit(wchar_t unit) noexcept;

// Replaces harmful units, and halves of surrogate pairs, by U+FFFD: the text stays on one line, and is harmless to a
// terminal.
std::wstring HarmlessText(std::wstring_view text);

// Escapes the harmful units of a JSON text in UTF-8 as \uXXXX. The text must be on one line. Its meaning stays, because
// harmful units are in its strings only.
std::string HarmlessJson(std::string_view json);
