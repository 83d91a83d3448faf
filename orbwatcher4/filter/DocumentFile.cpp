#include "orbwatcher4/filter/DocumentFile.h"

#include "support/FileReplacement.h"
#include "xml/Markup.h"

#include <windows.h>

bool SaveDocument(const CMarkup& document, const CString& path)
{
    std::string bytes;
    if (!document.Encode(bytes)) {
        SetLastError(ERROR_NO_UNICODE_TRANSLATION);
        return false;
    }
    return ReplaceWhole(path, bytes);
}
