// Tells whether a command may use the files in the data folder: another user may have been there first
// (support/TrustedFile.h). One thread.
#pragma once

#include "host/ExitCode.h"
#include "host/records/RecordWriter.h"

#include <optional>
#include <string>

// Returns why the file or folder is not trusted, and what to do. Empty when it is trusted, when it does not exist, and
// when it cannot be opened for another reason.
std::wstring DistrustOfFolder(const std::wstring& folder);
std::wstring DistrustOfFile(const std::wstring& path);

// Returns how a command ends that cannot use the data folder, and reports why: it is a file, its drive is not there, or
// it or a settings file in it is not trusted. A command that went on without the settings could back up less than the
// user wants, without a word. Otherwise reports settings that are damaged and cannot be read, and a
// destination in them that is probably not meant.
std::optional<ExitCode> RefuseDataFolder(RecordWriter& writer);
