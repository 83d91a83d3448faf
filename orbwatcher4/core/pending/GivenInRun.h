// The paths that were handed out in the current backup run, by the keys that the service keeps for it.
//
// The service knows a path by its key alone, and a user can make a name with the key of another path. Such a name must
// not delay the other file. The owner guards it.
#pragma once

#include "support/PathFingerprint.h"

#include <cstdint>
#include <set>
#include <string_view>
#include <unordered_map>

class GivenInRun
{
public:
    // Begins another run when the set is empty.
    void Follow(const std::set<unsigned __int64>& ids)
    {
        if (ids.empty())
            m_paths.clear();
    }
    // Returns true when the path is the one for which its key was put into the service's set. A key that only the
    // service knows counts for every path that has it.
    bool Holds(std::uint64_t id, std::wstring_view path) const
    {
        const auto [begin, end] = m_paths.equal_range(id);
        for (auto given = begin; given != end; ++given)
            if (given->second == FingerprintOf(path))
                return true;
        return begin == end;
    }
    void Insert(std::uint64_t id, std::wstring_view path) { m_paths.emplace(id, FingerprintOf(path)); }
    // Returns true when no path is left with the key.
    bool Erase(std::uint64_t id, std::wstring_view path) noexcept
    {
        const auto [begin, end] = m_paths.equal_range(id);
        for (auto given = begin; given != end; ++given)
            if (given->second == FingerprintOf(path)) {
                m_paths.erase(given);
                break;
            }
        return !m_paths.contains(id);
    }

private:
    std::unordered_multimap<std::uint64_t, PathFingerprint> m_paths;
};
