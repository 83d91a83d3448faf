// Digests of files that the program names, to find out whether they are still as they were. Files are read with the
// rights of the process, whichever user the thread acts for. Any thread.
#pragma once

#include "mfc/CString.h"

#include <optional>
#include <vector>

// Returns the text of the file's digest; nothing when the path is empty or the file cannot be read.
std::optional<CString> DigestOfFile(const CString& path);

// Returns the digests of the files in their order, "none" for one that cannot be read. Empty when the first file cannot
// be read.
CString DigestOfFiles(const std::vector<CString>& files);
