#include "directory_changes/EventFilter.h"

#include "support/Wildcard.h"

#include <algorithm>
#include <atomic>
#include <cwchar>
#include <utility>

namespace
{

bool BuiltInMatcher(std::wstring_view pattern, std::wstring_view text) { return MatchWildcard(pattern, text); }
std::atomic<PatternMatcher> g_matcher{&BuiltInMatcher};

bool MatchesAny(const std::vector<CString>& patterns, std::wstring_view text)
{
    return std::any_of(patterns.begin(), patterns.end(),
                       [&](const CString& pattern) { return g_matcher.load()(pattern.View(), text); });
}

} // namespace

void SetPatternMatcher(PatternMatcher matcher) { g_matcher = matcher ? matcher : &BuiltInMatcher; }

void EventFilter::SetPatterns(std::vector<CString> include, std::vector<CString> exclude)
{
    m_includePatterns = std::move(include);
    m_excludePatterns = std::move(exclude);
}

bool EventFilter::Wants(EventCode code) const
{
    return !(code == EventWatchStarted && Has(FilterFlags::NoWatchStarted)) &&
           !(code == EventWatchStopped && m_flags >= FilterFlags::NoWatchStopped);
}

DWORD EventFilter::PartialPathOffset(std::wstring_view directory) const
{
    if (!Has(FilterFlags::TestPartialPath) || directory.empty())
        return 0;
    return static_cast<DWORD>(directory.back() == L'\\' ? directory.size() : directory.size() + 1);
}

bool EventFilter::Passes(CDirectoryChangeHandler& handler, const DelayedEvent& event) const
{
    const bool neverAsk = Has(FilterFlags::NeverAskHandler);
    const bool askFirst = Has(FilterFlags::AskHandlerFirst);
    if (event.code >= EventReadError)
        return true;
    const auto agrees = [&] { return handler.OnFilterNotification(event.code, event.firstPath, event.secondPath); };
    if (askFirst && !neverAsk && !agrees())
        return false;
    if (!Has(FilterFlags::SkipPatterns) && !PassesPatterns(event))
        return false;
    return askFirst || neverAsk || agrees();
}

bool EventFilter::PassesPatterns(const DelayedEvent& event) const
{
    std::size_t offset = 0;
    if (Has(FilterFlags::TestFileName)) {
        const wchar_t* last = std::wcsrchr(event.firstPath, L'\\');
        offset = last ? static_cast<std::size_t>(last - event.firstPath) + 1 : 0;
    } else if (Has(FilterFlags::TestPartialPath)) {
        offset = event.partialPathOffset;
    }
    return PassesPatterns(event.firstPath, offset) ||
           (event.code == EventRenamed && PassesPatterns(event.secondPath, offset));
}

bool EventFilter::PassesPatterns(const wchar_t* path, std::size_t offset) const
{
    std::wstring_view text = path;
    text.remove_prefix(std::min(offset, text.size()));
    return (m_includePatterns.empty() || MatchesAny(m_includePatterns, text)) && !MatchesAny(m_excludePatterns, text);
}
