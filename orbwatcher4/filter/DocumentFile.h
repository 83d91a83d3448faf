// Saving an XML document that the user owns.
#pragma once

#include "mfc/CString.h"

class CMarkup;

// Puts the document in the file's place, in the encoding it was loaded in, or leaves the file as it is. Returns false,
// and GetLastError says why, when the disk refuses it or the encoding cannot hold the text. What counts as saved is
// read as the same document again. Any thread.
bool SaveDocument(const CMarkup& document, const CString& path);
