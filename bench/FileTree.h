// A tree of many small files, made once and kept for later runs.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/filter/Filter.h"

#include <vector>

struct FileTree {
    CString root; // without a backslash at the end
    int folders = 0;
    int files = 0;

    // Each file, folder by folder.
    std::vector<CString> Files() const;
};

// `files` of them in a thousand folders, ten of which lie in one another. Names are in lower case.
FileTree TreeOf(int files);
// Selects all of it.
FilterPtr RuleFor(const FileTree& tree);
