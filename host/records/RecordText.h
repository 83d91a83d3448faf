// Texts that several kinds of records contain. Any thread.
#pragma once

#include "orbwatcher4/Estimate.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace RecordText
{

// Returns a time as RFC 3339, UTC, to the millisecond. FILETIME: 100-ns units since 1601.
std::string Time(std::uint64_t fileTime);
std::string Now();
// Returns "1 file", "2 files".
std::string Counted(std::uint64_t number, const char* one, const char* many);
// Returns the path in the form for people, in UTF-8.
std::string Path(std::wstring_view path);
// Returns the size, the number of files, and `what` they are.
std::string Size(const SizeTotal& total, const std::string& what);

} // namespace RecordText
