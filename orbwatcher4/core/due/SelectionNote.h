// The note of the selection in the service-run settings: its content (Selection::Content), and the destinations that
// were kept out of it, for which a full enumeration was made or is due. A selection that was edited since, or a folder
// that is no destination any more, may hold what no watch has looked at. Any thread.
#pragma once

#include "mfc/CString.h"

#include <set>

namespace SelectionNote
{

// Returns the text that is remembered; empty when none is.
CString Read();
// Remembers the text. Returns false when the settings could not be written.
bool Write(const CString& text);

// Returns the folders that are remembered, each with a backslash at its end.
std::set<CString> ReadDestinations();
// Remembers the folders. Returns false when the settings could not be written.
bool WriteDestinations(const std::set<CString>& folders);

} // namespace SelectionNote
