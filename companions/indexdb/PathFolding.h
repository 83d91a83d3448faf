// Paths as they compare without regard to case, and the keys of these. Keeps its working space, so that a look-up
// allocates nothing. One thread at a time.
#pragma once

#include "support/CaseFold.h"
#include "support/Hashes.h"

#include <string>
#include <string_view>

class PathFolding
{
public:
    // Maps need a key that no entry has. A path with this hash gets the key before it. Two paths may then share a key,
    // as two paths with one hash do: a look-up by key compares the paths.
    static constexpr std::uint64_t UnusedKey = ~std::uint64_t(0);
    static std::uint64_t KeyOfFolded(std::wstring_view folded)
    {
        const std::uint64_t hash = PathHash64(folded);
        return hash == UnusedKey ? hash - 1 : hash;
    }

    // Valid until the next call.
    std::wstring_view Fold(std::wstring_view path)
    {
        m_folded = path;
        for (wchar_t& unit : m_folded)
            unit = static_cast<wchar_t>(UpperUnit(static_cast<std::uint16_t>(unit)));
        return m_folded;
    }
    std::uint64_t KeyOf(std::wstring_view path) { return KeyOfFolded(Fold(path)); }

private:
    std::wstring m_folded;
};
