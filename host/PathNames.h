// Examines the names of a path: those that no file can have, and files where a folder would be needed.
// Any thread.
#pragma once

#include <string>

// Returns the first unit that no name can hold, such as '?'; 0 when there is none.
wchar_t ImpossibleUnitIn(std::wstring path);

// Returns the last name of the path when Windows keeps it for a device, such as CON or nul.txt; empty otherwise.
std::wstring DeviceNameIn(const std::wstring& path);

// Returns the file that stands at the path, or where the path needs a folder; empty when there is none.
std::wstring FileInTheWay(std::wstring path);
