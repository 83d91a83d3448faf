// A list of paths in one text of the settings. No path contains the vertical bar that separates them. Any thread.
#pragma once

#include "mfc/CString.h"

#include <set>

constexpr wchar_t BarOfList = L'|';

inline std::set<CString> SplitAtBars(const CString& list)
{
    std::set<CString> paths;
    for (int from = 0; from < list.GetLength();) {
        int to = list.Find(BarOfList, from);
        if (to < 0)
            to = list.GetLength();
        if (to > from)
            paths.insert(list.Mid(from, to - from));
        from = to + 1;
    }
    return paths;
}

inline CString JoinWithBars(const std::set<CString>& paths)
{
    CString list;
    for (const CString& path : paths) {
        if (!list.IsEmpty())
            list += BarOfList;
        list += path;
    }
    return list;
}
