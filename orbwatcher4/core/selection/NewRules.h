// Takes the rules of a file into the selection.
#pragma once

#include "orbwatcher4/core/selection/Selection.h"

struct TakenRules {
    bool loaded = false;
    bool merged = true; // false: the rules could not be merged into the selection file
    FilterList accepted;
    CString before, now; // the content of the selection (Selection::Content) before and after the merge
};

// Adds the rules to the primary filter and, when there is one, to the selection file. A rule that contradicts the
// selection is left out. When the file could not be merged, no rule is taken. When an exception is thrown, the filter
// may lack rules that the file has: make a full enumeration due, which loads the file.
TakenRules TakeNewRules(Selection& selection, const wchar_t* xmlPath);
