// The selection that the command line names, and what is wrong with it. One thread.
#pragma once

#include "host/RecordWriter.h"
#include "orbwatcher4/OrbFilter.h"

#include <string>
#include <vector>

struct SelectionFiles {
    std::wstring data;
    std::wstring autoExclude;
    std::wstring advanced;
    std::wstring secondary;
};

// Gives the files to the watcher and loads them. False, with every failure told, when one of them is
// missing or cannot be read as a selection.
bool LoadSelection(COrbWatcher& watcher, const SelectionFiles& files, RecordWriter& writer);

// What is wrong with the files, or passed over in them.
struct SelectionFinding {
    bool failure; // the selection cannot be used
    std::wstring message;
    std::wstring path; // may be empty
};
using SelectionFindings = std::vector<SelectionFinding>;

// Reads them as the library does, to no end but to find out.
SelectionFindings FindingsOf(const SelectionFiles& files);
// The same, told. False when there was a failure.
bool CanBeLoaded(const SelectionFiles& files, RecordWriter& writer);

// What the host asks of the rules themselves.
class SelectionView
{
public:
    explicit SelectionView(const SelectionFiles& files);

    // Roots of the selection that are not among those that are watched, and a selection that selects
    // nothing. False when a root that is there is not watched.
    bool TellWhatIsNotWatched(const std::vector<CString>& watched, RecordWriter& writer);

    // The same before an enumeration: roots that are not there now, and a selection that selects nothing.
    void TellWhatIsNotThere(RecordWriter& writer);

    // The folders that the selection includes: with all that is in them, or themselves alone (the folders of
    // single files).
    struct Folder {
        std::wstring path; // ends in a backslash
        bool withSubfolders;
    };
    std::vector<Folder> IncludedFolders();

    struct Root {
        CString path;
        bool there;
        std::size_t rules;
        bool included; // something on it is
    };
    std::vector<Root> Roots() const;
    FilterList RulesOfPresentRoots() const;

    // The profiles that its rules belong to, in order.
    std::vector<int> Profiles();

private:
    // With something included on it. That there is none is told.
    std::vector<Root> SelectedRoots(RecordWriter& writer);

    mutable OrbFilter m_filter; // what asks it changes nothing, and does not say so
};
