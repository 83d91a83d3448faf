// Which events reach a handler: its filter flags, its pattern lists, and its own opinion.
//
// The flags are constant. The patterns are set before the watch starts. The notifier's thread asks.
#pragma once

#include "directory_changes/DelayedEvent.h"
#include "directory_changes/DirectoryChanges.h"

#include <string_view>
#include <vector>

namespace FilterFlags
{
constexpr DWORD SkipPatterns = 1;
constexpr DWORD TestPartialPath = 4; // from behind the watched directory on
constexpr DWORD TestFileName = 8;    // only what is behind the last backslash
constexpr DWORD AskHandlerFirst = 16;
constexpr DWORD NeverAskHandler = 32;
constexpr DWORD NoWatchStarted = 64;
constexpr DWORD NoWatchStopped = 128; // or any higher bit
} // namespace FilterFlags

// The matcher of the pattern lists. Process-wide; null restores the built-in one.
using PatternMatcher = bool (*)(std::wstring_view pattern, std::wstring_view text);
void SetPatternMatcher(PatternMatcher matcher);

class EventFilter
{
public:
    explicit EventFilter(DWORD flags) : m_flags(flags) {}
    void SetPatterns(std::vector<CString> include, std::vector<CString> exclude);

    // Returns false for the events that the flags withhold, whatever is in them.
    bool Wants(EventCode code) const;
    // Returns where the test of a path below the directory begins, when the flags ask for a partial path.
    DWORD PartialPathOffset(std::wstring_view directory) const;
    bool Passes(CDirectoryChangeHandler& handler, const DelayedEvent& event) const;

private:
    bool Has(DWORD flag) const { return (m_flags & flag) != 0; }
    bool PassesPatterns(const DelayedEvent& event) const;
    bool PassesPatterns(const wchar_t* path, std::size_t offset) const;

    const DWORD m_flags;
    std::vector<CString> m_includePatterns;
    std::vector<CString> m_excludePatterns;
};
