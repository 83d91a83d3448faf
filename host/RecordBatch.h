// Files that are to be recorded in the index together: one commit for many costs little more than one for a single
// file.
//
// Nothing in a batch is recorded before the commit. A batch that is lost with its process leaves its files new, and the
// running mark makes the next start find them. One thread.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"
#include "support/NoCaseKeys.h"

#include <map>
#include <string>
#include <vector>

class RecordBatch
{
public:
    // A batch is due when it holds so many files, or when its first file has waited so long.
    static constexpr std::size_t MostItems = 2'000;
    static constexpr double LongestDelay = 0.5; // seconds

    // Replaces an earlier entry of the same path. `now`: from Seconds.
    void Add(const ItemDatum& item, double now);
    // Returns true when the batch holds the path with this time: the file has not changed since it was handed out.
    bool Holds(const std::wstring& path, std::uint64_t modificationTime) const;
    bool IsEmpty() const { return m_items.empty(); }
    bool IsDue(double now) const;

    struct Failure {
        CString path;
        CIndexDB::Error error;
        CString text;
    };
    struct Committed {
        std::vector<CString> recorded;
        std::vector<Failure> failures;
    };
    // Records the batch and empties it. When the commit fails, each file is tried alone.
    Committed Commit(CIndexDB& index);

private:
    std::map<std::wstring, ItemDatum, NoCase::Before> m_items;
    double m_since = 0; // when the first one was added
};
