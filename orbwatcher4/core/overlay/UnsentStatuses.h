// The statuses of which the overlay service has not been told yet: one entry a path, in the order in which the paths
// came. Not locked: the owner guards it.
#pragma once

#include "mfc/CString.h"
#include "support/CaseFold.h"

#include <cstdint>
#include <list>
#include <optional>
#include <string_view>
#include <unordered_map>

class UnsentStatuses
{
public:
    // A service that hangs must not cost more memory with each change. The oldest entries are dropped first: the user
    // looks at what has just changed.
    static constexpr std::size_t Most = 20'000;

    struct Entry {
        CString path; // as it was first spelled
        // Without a status, the service's own one is read before the modifications are added to it.
        std::optional<std::int32_t> status;
        int modifications = 0; // since the status

        // Adds the modifications to a status of the service.
        std::int32_t WithModifications(std::int32_t from) const;
    };

    // Replaces the waiting status of the path. Returns false when another path was dropped for it. Throws
    // std::bad_alloc.
    bool Set(const CString& path, std::int32_t status);
    // Adds a modification to the waiting status of the path. Otherwise as Set.
    bool AddModification(const CString& path);
    // Removes the oldest entry; nothing when there is none.
    std::optional<Entry> Take();
    void Clear();
    std::size_t Size() const { return m_entries.size(); }

private:
    struct Hash {
        std::size_t operator()(std::wstring_view path) const { return HashNoCase(path); }
    };
    struct Equal {
        bool operator()(std::wstring_view left, std::wstring_view right) const { return EqualNoCase(left, right); }
    };
    using Entries = std::list<Entry>;

    Entry& Of(const CString& path);
    bool DropOverflow();

    Entries m_entries;
    // The keys are texts of m_entries.
    std::unordered_map<std::wstring_view, Entries::iterator, Hash, Equal> m_byPath;
};
