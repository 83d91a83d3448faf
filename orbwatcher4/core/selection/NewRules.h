// Takes the rules of a file into the selection.
#pragma once

#include "orbwatcher4/core/selection/Selection.h"

struct TakenRules {
    bool loaded = false;
    bool merged = true; // whether the rules are in the selection file
    FilterList accepted;
    CString before, now; // the content of the selection (Selection::Content) before and after the merge
};

// Adds the rules to the primary filter and to the selection file. All of them are taken, or, when the file could not be
// merged or an exception is thrown, none.
TakenRules TakeNewRules(Selection& selection, const wchar_t* xmlPath);
