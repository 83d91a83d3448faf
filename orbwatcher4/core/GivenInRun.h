// Which paths have been handed out in the current backup run, under the identifiers that the service keeps of it.
//
// The service knows a path by its key alone, and a name with the key of another path can be made: it must not delay the
// other file. Guarded by its owner.
#pragma once

#include "support/PathFingerprint.h"

#include <cstdint>
#include <set>
#include <string_view>
#include <unordered_map>

class GivenInRun
{
public:
    // An empty set begins another run.
    void Follow(const std::set<unsigned __int64>& ids)
    {
        if (ids.empty())
            m_paths.clear();
    }
    // Whether the path, whose key is in the service's set, is the one that the key was put there for. A key that only
    // the service knows of counts for every path that has it.
    bool Holds(std::uint64_t id, std::wstring_view path) const
    {
        const auto [begin, end] = m_paths.equal_range(id);
        for (auto given = begin; given != end; ++given)
            if (given->second == FingerprintOf(path))
                return true;
        return begin == end;
    }
    void Insert(std::uint64_t id, std::wstring_view path) { m_paths.emplace(id, FingerprintOf(path)); }
    // Returns whether no path is left under the key.
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
