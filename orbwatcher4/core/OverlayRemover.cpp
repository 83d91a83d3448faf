#include "orbwatcher4/core/OverlayRemover.h"

#include "orbwatcher4/core/FileFindData.h"
#include "orbwatcher4/core/WatcherState.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"

#include <algorithm>

namespace
{

// Returns true for the ending of shortcuts, with or without an asterisk.
bool NamesShortcuts(std::wstring_view ending)
{
    const std::size_t start = ending.find_first_not_of(L'*');
    return start != std::wstring_view::npos && EqualNoCase(ending.substr(start), L".lnk");
}

std::vector<CString> PatternsOf(std::wstring_view mask)
{
    if (mask.empty())
        return {L"*"};
    std::vector<CString> patterns;
    while (!mask.empty()) {
        const std::wstring_view ending = mask.substr(0, mask.find(L';'));
        if (!ending.empty() && !NamesShortcuts(ending))
            patterns.push_back(CString(L"*") + CString(ending));
        mask.remove_prefix(std::min(mask.size(), ending.size() + 1));
    }
    return patterns;
}

} // namespace

OverlayRemover::OverlayRemover(WatcherState& watcher) : m(watcher), m_overlay(watcher.overlayCache.Waiter()) {}

void OverlayRemover::ScanFolder(const Filter& rule)
{
    for (const CString& pattern : PatternsOf(rule.mask.View())) {
        if (m.stop.IsSet())
            return;
        m_scratch.SmartScanDirectory(rule.path, pattern, true, this, static_cast<HANDLE>(m.stop), true);
    }
}

void OverlayRemover::FileFoundCallback(const wchar_t* path, unsigned __int64)
{
    const CString asked = IsDirectory(path) ? WithBackslash(path) : CString(path);
    {
        const CSingleLock lock(m.selection.primaryLock);
        if (m.selection.primary.CheckForInclusion(asked, nullptr, true, false) != Excluded)
            return;
    }
    std::int32_t status = OverlayStatus::Excluded;
    m_overlay.Request(OverlayRequest::SetStatus, path, status);
}

bool OverlayRemover::ProgressCallback() { return !m.stop.IsSet(); }

void OverlayRemover::FolderFoundCallback(const wchar_t* path) { FileFoundCallback(WithBackslash(path), 0); }
