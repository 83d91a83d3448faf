// What Wine keeps of a folder. Its server has a record of each folder below a watched
// one, which outlives the watch, and which keeps the name and the place that the folder
// had when the record was made.
#pragma once

#include <string>

// A watch of its own that ends at once makes Wine forget the folder. Whoever opens it next brings a new record about.
void MakeWineForget(const std::wstring& folder);
