// The files that are no candidates for deduplication, by the keys (PathHash64) of lower-cased names.
#pragma once

#include "mfc/CString.h"
#include "support/HashMemory.h"

#include <sparsehash/dense_hash_set>

#include <cstdint>
#include <set>
#include <string_view>

class DedupKeys
{
public:
    DedupKeys();

    // A key whose bits are all set is left out: the tables need it for themselves.
    void Set(const std::set<std::uint64_t>& names, const std::set<std::uint64_t>& extensions,
             const std::set<std::uint64_t>& folders);
    // Returns true when the file's name, its ending without the dot, its whole path, or the text before its third or a
    // later backslash has a key. The folder directly below a drive does not count for what is in it.
    bool Contains(const CString& path) const;

private:
    using Keys = google::dense_hash_set<std::uint64_t, std::hash<std::uint64_t>, std::equal_to<std::uint64_t>,
                                        HashMemory<std::uint64_t>>;

    static void Fill(Keys& table, const std::set<std::uint64_t>& keys);
    static bool Holds(const Keys& keys, std::wstring_view text);

    Keys m_names, m_extensions, m_folders;
};
