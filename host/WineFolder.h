// Makes Wine forget a folder. Wine's server has a record of each folder below a watched one. The record outlives the
// watch, and keeps the name and the place that the folder had when the record was made.
#pragma once

#include <string>

// Begins and ends a watch of its own on the folder, which makes Wine forget it. The next program that opens the folder
// makes a new record.
void MakeWineForget(const std::wstring& folder);
