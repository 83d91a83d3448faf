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
// selection is left out. When the file could not be merged, or an exception is thrown, no rule is taken. Other threads
// judge by the rules while they are merged, so that a refused rule may have made paths pending.
TakenRules TakeNewRules(Selection& selection, const wchar_t* xmlPath);
