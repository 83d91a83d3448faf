// The system below Wine, which makes what Wine cannot make. On Windows there is none, and each call fails. One thread
// at a time.
#pragma once

#include <string>

// Returns the path in the words of the system below; empty on Windows.
std::wstring PathBelow(const std::wstring& path);
// Runs a command of the shell there, and waits until it is done. Returns false when it failed.
bool RunBelow(const std::wstring& command);
