// Whether a command may go by what is in the data folder: somebody else may have been
// there first (support/TrustedFile.h). One thread.
#pragma once

#include "host/RecordWriter.h"

#include <string>

// Why the file or folder is not trusted, and what to do; empty when it is, when it is not there, and when it cannot be
// opened for another reason.
std::wstring DistrustOfFolder(const std::wstring& folder);
std::wstring DistrustOfFile(const std::wstring& path);

// False when the data folder or a settings file in it is not trusted; that has been told. To go on without the settings
// could mean to back up less than the user wants, and not to say so.
bool RequireTrustedSettings(RecordWriter& writer);
