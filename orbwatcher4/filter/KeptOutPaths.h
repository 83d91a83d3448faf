/// @file
/// The folders and files that the product keeps out of every selection: the destination of backups, and what the
/// product writes itself.
///
/// A question takes no lock and allocates nothing. It costs a few units for each entry, because most entries are ruled
/// out by their length. Paths compare without regard to case. Portable; any thread may ask while no thread edits.
#pragma once

#include "mfc/CString.h"

#include <string_view>
#include <vector>

/// The reason why the product keeps a path out of every selection.
enum class KeptOut : int {
    No,          ///< it does not; the rules decide
    Destination, ///< backups go there
    OwnFile,     ///< the product writes it itself
};

/// The paths that are kept out, each with its reason.
class KeptOutPaths
{
public:
    /// The setting that named a path. Setting it again replaces its paths alone.
    enum class Source { Destination, DataFolder, Databases, Outputs };

    /// Keeps out a folder with everything in it. Full path, in the form of OrbFilter::SystemForm; empty: none. If
    /// memory runs out, nothing changes.
    void SetFolder(Source source, const CString& folder, KeptOut why);
    /// Keeps out files in the same way.
    void SetFiles(Source source, const std::vector<CString>& files, KeptOut why);
    /// Takes the paths of one setting from another object.
    void Take(Source source, const KeptOutPaths& from);

    /// Returns why the path is kept out.
    KeptOut Why(std::wstring_view path) const;
    /// Returns the folders, each with a backslash at its end.
    std::vector<CString> Folders() const;

    /// Returns the files of a database: its own, those that SQLite keeps beside it, and the claim of a command.
    static std::vector<CString> FilesOfDatabase(const CString& database);

private:
    struct Entry {
        Source source;
        KeptOut why;
        CString path; // a folder's ends in a backslash
        bool folder;
        bool Covers(std::wstring_view asked) const;
    };
    void Replace(Source source, const std::vector<Entry>& entries);

    std::vector<Entry> m_entries;
};
