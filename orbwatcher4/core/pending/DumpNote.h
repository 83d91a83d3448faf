// The note of the dump in the service-run settings: what an orderly end has left (docs/dump-file.md). It shows whether
// the dump is missing, cut, extended or another one. Any thread.
#pragma once

#include "mfc/CString.h"

#include <optional>

namespace DumpNote
{

// The note of an end that left no dump.
constexpr const wchar_t* NoDump = L"none";

// Returns the digest of the dump that the last end left, or NoDump. Nothing when the settings do not say: an older
// version wrote no note.
std::optional<CString> Read();
// Writes the digest of the dump, or NoDump. Returns false when the settings could not be written.
bool Write(const CString& digest);

} // namespace DumpNote
