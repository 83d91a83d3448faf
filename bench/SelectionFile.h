// A selection of very many items, as a file.
#pragma once

#include "mfc/CString.h"

// The names of the attributes that each item has, in the order in which they are written.
inline constexpr const wchar_t* ItemAttributes[] = {L"path",       L"type",   L"includeSub",     L"exclude", L"flags",
                                                    L"pluginId",   L"mask",   L"additionalInfo", L"vid",     L"jobid",
                                                    L"pluginName", L"PRMask", L"masktype"};

struct SelectionFile {
    CString path;
    double megabytes = 0;
    int items = 0;
};

// Folders of drive C:, as UTF-8.
SelectionFile LargeSelection();
