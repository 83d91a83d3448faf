// Tries whether files can be made and written, with a file that is gone again. One thread.
#pragma once

#include <windows.h>

#include <string>

// Returns why no file can be made in the folder, or in the nearest folder above it that is there; ERROR_SUCCESS when
// one can. ERROR_PATH_NOT_FOUND: no folder above it is there, and neither is its drive.
DWORD WhyNothingCanBeMade(const std::wstring& folder);

// Returns why the file that is there cannot be opened for writing; ERROR_SUCCESS when it can. The file is not changed.
DWORD WhyNotWritable(const std::wstring& path);
