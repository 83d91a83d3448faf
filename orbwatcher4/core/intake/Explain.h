// Explains why a path is selected or not.
#pragma once

#include "orbwatcher4/PathExplanation.h"
#include "orbwatcher4/core/intake/ChangeHandler.h"

// Makes the decision that a change of the path would get. Throws std::bad_alloc. Any thread.
PathExplanation ExplainPath(ChangeHandler& handler, Selection& selection, const wchar_t* path);
