// Names that the system refuses. Another system can put such names on a drive that this one shows: Wine lists them, and
// opens none of them. A line feed would also break a line of the dump. Portable. Any thread.
#pragma once

#include <algorithm>
#include <string_view>

// Returns true when every name in the full path may be one of a file of this system.
inline bool MayBeOpened(std::wstring_view path)
{
    constexpr std::wstring_view refused = L"<>:\"|?*";
    const std::size_t begin = path.starts_with(L"\\\\?\\") ? 4 : 0;
    const bool drive = path.size() > begin + 1 && path[begin + 1] == L':';
    const std::wstring_view names = path.substr(begin + (drive ? 2 : 0));
    return std::none_of(names.begin(), names.end(),
                        [&](wchar_t unit) { return unit < 0x20 || refused.find(unit) != std::wstring_view::npos; });
}
