// Examines the folder that the command line or the settings name as the destination of backups. One thread.
#pragma once

#include "host/doctor/Check.h"
#include "host/records/RecordWriter.h"

#include <optional>
#include <string>

// The folder need not exist, if it can be made. A drive that is not there now may come later.
Check CheckDestination(const std::wstring& written);

// Reports what is wrong with the destination; an empty one is none. Returns false when it can be no destination at all.
bool IsUsableDestination(const std::wstring& written, RecordWriter& writer);

// Returns what is wrong with the text of the setting Backup::path; nothing when it names a folder that is there, or is
// empty.
std::optional<Check> CheckDestinationSetting(const std::wstring& written);
// Reports the same about the settings of this process.
void TellDestinationSetting(RecordWriter& writer);
