// The selection that the command line names, and what is wrong with it.
#pragma once

#include "host/RecordWriter.h"

#include <string>

struct SelectionFiles {
    std::wstring data;
    std::wstring autoExclude;
    std::wstring advanced;
    std::wstring secondary;
};

// Gives the files to the watcher and loads them. False, with every failure told, when one of them is
// missing or cannot be read as a selection.
bool LoadSelection(COrbWatcher& watcher, const SelectionFiles& files, RecordWriter& writer);

// Roots of the selection that are not among those that are watched, and a selection that selects nothing.
void TellWhatIsNotWatched(const SelectionFiles& files, const std::vector<CString>& watched, RecordWriter& writer);

// The folders that the selection includes; files count with their folder.
std::vector<std::wstring> IncludedFolders(const SelectionFiles& files);
