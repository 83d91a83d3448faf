// Finds the kind of a file by its extension. Any thread.
#pragma once

#include "orbwatcher4/Estimate.h"

#include <string_view>

// `extension`: with its dot, in lower case.
FileKind KindOf(std::wstring_view extension);
