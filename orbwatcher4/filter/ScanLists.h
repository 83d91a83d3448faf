// What of a drive a walk covers: a copy, so that rules may be edited while it is walked.
#pragma once

#include "mfc/CString.h"

#include <vector>

struct ScanLists {
    struct Root {
        CString path;
        bool includeSub = false; // false: only what lies in the folder itself
    };
    std::vector<Root> roots;
    std::vector<CString> exclusions; // folders that are excluded whole; an included one may lie deeper
    std::vector<CString> files;      // selected one by one
};
