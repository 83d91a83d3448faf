// The note of the selection in the service-run settings: the content of its files, for which a full enumeration was
// made or is due. A selection that was edited since may include what no watch has looked at. Any thread.
#pragma once

#include "mfc/CString.h"

#include <vector>

namespace SelectionNote
{

// Returns a text that stands for the content of the files, in their order; paths may be empty. Empty when the first
// file cannot be read.
CString Of(const std::vector<CString>& files);
// Returns the text that is remembered; empty when none is.
CString Read();
// Remembers the text. Returns false when the settings could not be written.
bool Write(const CString& text);

} // namespace SelectionNote
