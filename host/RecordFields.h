// The contents of records, as JSON fields and as lines for people. Any thread.
#pragma once

#include "orbwatcher4/Estimate.h"
#include "orbwatcher4/OrbWatcher.h"

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace RecordFields
{

// Returns a time as RFC 3339, UTC, to the millisecond. FILETIME: 100-ns units since 1601.
std::string TimeText(std::uint64_t fileTime);
std::string Now();

nlohmann::ordered_json OfPending(const QueueDatum& datum);
std::string PendingLine(const QueueDatum& datum);

// `path`: as it was asked for.
nlohmann::ordered_json OfDeletion(const DeletionRecord& record);
// Returns the path, spelled as that of a pending item: a folder ends in a backslash. Ask before the index forgets the
// item.
std::wstring DeletedPath(const DeletionRecord& record);
// Returns "1 file", "2 files".
std::string Counted(std::uint64_t number, const char* one, const char* many);
nlohmann::ordered_json OfExplanation(const std::wstring& path, const PathExplanation& explanation);
// Returns the size, the number of files, and `what` they are.
std::string SizeLine(const SizeTotal& total, const std::wstring& what);
std::string ExplanationLines(const std::wstring& path, const PathExplanation& explanation);

} // namespace RecordFields
