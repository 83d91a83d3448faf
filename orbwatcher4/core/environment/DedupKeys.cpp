#include "orbwatcher4/core/environment/DedupKeys.h"

#include "support/Hashes.h"

#include <windows.h>

#include <shlwapi.h>

namespace
{

constexpr std::uint64_t NoKey = ~std::uint64_t{0};

} // namespace

DedupKeys::DedupKeys()
{
    for (Keys* keys : {&m_names, &m_extensions, &m_folders})
        keys->set_empty_key(NoKey);
}

void DedupKeys::Fill(Keys& table, const std::set<std::uint64_t>& keys)
{
    EmptyTable(table);
    for (const std::uint64_t key : keys)
        if (key != NoKey)
            table.insert(key);
}

void DedupKeys::Set(const std::set<std::uint64_t>& names, const std::set<std::uint64_t>& extensions,
                    const std::set<std::uint64_t>& folders)
{
    Fill(m_names, names);
    Fill(m_extensions, extensions);
    Fill(m_folders, folders);
}

bool DedupKeys::Holds(const Keys& keys, std::wstring_view text) { return keys.find(PathHash64(text)) != keys.end(); }

bool DedupKeys::Contains(const CString& path) const
{
    const CString lower = CString(path).MakeLower();
    const std::wstring_view text = lower.View();
    if (Holds(m_names, PathFindFileNameW(lower)))
        return true;
    const std::size_t dot = text.rfind(L'.');
    if (dot != std::wstring_view::npos && Holds(m_extensions, text.substr(dot + 1)))
        return true;
    // Visits the text before the third and each later backslash, and the whole path.
    const auto nextSlash = [&](std::size_t after) {
        return after == std::wstring_view::npos ? after : text.find(L'\\', after + 1);
    };
    for (std::size_t slash = nextSlash(nextSlash(text.find(L'\\'))); slash != std::wstring_view::npos;
         slash = nextSlash(slash))
        if (Holds(m_folders, text.substr(0, slash)))
            return true;
    return Holds(m_folders, text);
}
