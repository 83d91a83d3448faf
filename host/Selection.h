// The selection that the command line names, and the findings about it. One thread.
#pragma once

#include "host/records/RecordWriter.h"
#include "orbwatcher4/EnumerationProgress.h"
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/OrbWatcher.h"

#include <string>
#include <vector>

struct SelectionFiles {
    std::wstring data;
    std::wstring autoExclude;
    std::wstring advanced;
    std::wstring secondary;
};

// Partly: some rules are missing or mean something else, because items or values of the files could not be read.
enum class SelectionState { Unusable, Partly, Whole };

// Gives the files to the watcher, loads them and reports what was found in them.
SelectionState LoadSelection(COrbWatcher& watcher, const SelectionFiles& files, RecordWriter& writer);

struct SelectionFindings {
    RuleFindings inFiles;
    std::vector<std::wstring> others; // failures of the library that concern none of the files
};

// Reads the files as the library does. Validates without loading.
SelectionFindings FindingsOf(const SelectionFiles& files);
// Reports the findings of FindingsOf.
SelectionState Examine(const SelectionFiles& files, RecordWriter& writer);

// Reports files that could not be read, each as what `files` names it, and the first ones of the other findings as
// notes.
enum class UnreadFiles { AreErrors, AreNotes };
void TellFindings(const RuleFindings& findings, const SelectionFiles& files, UnreadFiles unread, RecordWriter& writer);
std::wstring TextOf(const RuleFinding& finding, const SelectionFiles& files);
std::wstring MoreFindings(std::size_t count);

// The paths that the command line names and that no backup holds, whatever the rules say. Each may be empty.
struct KeptOutside {
    std::wstring destination;
    std::wstring index;
    std::vector<std::wstring> written; // other files that the command writes
    // Other folders, for a process whose own settings are not those of the selection.
    struct Folder {
        std::wstring path; // ends in a backslash
        KeptOut why;
    };
    std::vector<Folder> folders = {};

    void TellFilter(OrbFilter& filter) const;
};

// Returns true when the root is one of these, in whatever spelling.
bool IsAmong(const std::vector<CString>& roots, const CString& root);

// The host's view of the rules.
class SelectionView
{
public:
    explicit SelectionView(const SelectionFiles& files, const KeptOutside& outside = {});

    // Reports roots of the selection that are not watched, and a selection that selects nothing. Returns true when
    // every root is watched.
    bool TellWhatIsNotWatched(const std::vector<CString>& watched, RecordWriter& writer);

    // Reports, before an enumeration, roots that are absent now, and a selection that selects nothing. Returns true
    // when there is nothing to report.
    bool TellWhatIsNotThere(RecordWriter& writer);

    // Returns what the rules include by name and no backup holds: it is not there (Missing), or it is kept out
    // (BackupFolder, OwnFile). `absentRoots`: names the roots that are not there, too.
    enum class AbsentRoots { AreNamed, AreLeftOut };
    std::vector<PassedOverPath> IncludedInVain(AbsentRoots absent) const;
    // Returns why the product keeps the path out.
    KeptOut WhyKeptOut(const std::wstring& path) const;

    // Returns why nothing that its rules include is left: "the selection includes nothing: ...". Empty when something
    // is left.
    std::wstring WhyNothing() const;

    // A folder that the selection includes, with everything in it, or alone (the folder of a single file).
    struct Folder {
        std::wstring path; // ends in a backslash
        bool withSubfolders;
    };
    std::vector<Folder> IncludedFolders();

    struct Root {
        CString path;
        bool there;
        std::size_t rules;
        bool included; // a rule includes something on it
    };
    std::vector<Root> Roots() const;
    FilterList RulesOfPresentRoots() const;

    // Returns the profiles that its rules belong to, in order.
    std::vector<int> Profiles();

private:
    bool IsInDataFolder(const std::wstring& path) const;
    // Returns why nothing of what the rule includes is left; empty when something is.
    std::wstring WhyInVain(const Filter& rule) const;
    // Returns the roots with something included on them. Reports it when there is none.
    std::vector<Root> SelectedRoots(RecordWriter& writer);

    const std::vector<KeptOutside::Folder> m_keptOut;
    const bool m_hasSecondary;  // whose rules may include more
    mutable OrbFilter m_filter; // asking it changes nothing, but its functions are not const
};
