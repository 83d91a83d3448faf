// Saves an XML document of the user.
#pragma once

#include "mfc/CString.h"

class CMarkup;

// Replaces the file by the document, in the encoding in which it was loaded, or leaves the file as it is. Returns
// false, with a last error, when the disk refuses it or the encoding cannot hold the text. A document counts as saved
// only if reading it gives the same document. Any thread.
bool SaveDocument(const CMarkup& document, const CString& path);
