// Splits the units of a dump into lines. Portable. One thread at a time.
#pragma once

#include "mfc/CString.h"

#include <functional>
#include <vector>

class DumpLines
{
public:
    static constexpr std::size_t LongestLine = 261; // units: the longest path, and a folder's backslash

    // Calls `line` when the unit ends a line. A last line without a line feed is never passed on, and a line that is
    // longer than any path of the watcher is skipped.
    void Feed(wchar_t unit, const std::function<void(const CString&)>& line);
    bool PassedOver() const { return m_passedOver; }
    // Returns true after a line feed. No dump is empty, so that a file without any unit does not end a line.
    bool IsAtLineEnd() const { return m_atLineEnd; }

private:
    std::vector<wchar_t> m_line;
    bool m_tooLong = false;
    bool m_passedOver = false;
    bool m_atLineEnd = false;
};
