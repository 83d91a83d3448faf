// Removing a folder with all that is in it.
#pragma once

#include <string>

// Links in the folder are removed, and their targets stay. Returns false when something is left.
bool RemoveTree(const std::wstring& folder);
