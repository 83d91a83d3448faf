// Tells whether a command may use the files in the data folder: another user may have been there first
// (support/TrustedFile.h). One thread.
#pragma once

#include "host/RecordWriter.h"

#include <string>

// Returns why the file or folder is not trusted, and what to do. Empty when it is trusted, when it does not exist, and
// when it cannot be opened for another reason.
std::wstring DistrustOfFolder(const std::wstring& folder);
std::wstring DistrustOfFile(const std::wstring& path);

// Returns false, and reports it, when the data folder or a settings file in it is not trusted. A command that went on
// without the settings could back up less than the user wants, without a word.
bool RequireTrustedSettings(RecordWriter& writer);
