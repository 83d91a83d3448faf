#include "orbwatcher4/core/overlay/OverlayRemover.h"

#include "orbwatcher4/core/environment/FileFindData.h"
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

OverlayRemover::OverlayRemover(Selection& selection, const OverlayStatuses& statuses, CSignal& stop)
    : m_selection(selection),
      m_stop(stop),
      m_connection(statuses.AnotherConnection())
{
}

void OverlayRemover::ScanFolder(const Filter& rule)
{
    for (const CString& pattern : PatternsOf(rule.mask.View())) {
        if (m_stop.IsSet())
            return;
        m_scratch.SmartScanDirectory(rule.path, pattern, true, this, static_cast<HANDLE>(m_stop), true);
    }
}

void OverlayRemover::FileFoundCallback(const wchar_t* path, unsigned __int64)
{
    const CString asked = IsDirectory(path) ? WithBackslash(path) : CString(path);
    {
        const CSingleLock lock(m_selection.primaryLock);
        if (m_selection.primary.CheckForInclusion(asked, nullptr, true, false) != Excluded)
            return;
    }
    std::int32_t status = OverlayStatus::Excluded;
    m_connection.Request(OverlayRequest::SetStatus, path, status);
}

bool OverlayRemover::ProgressCallback() { return !m_stop.IsSet(); }

void OverlayRemover::FolderFoundCallback(const wchar_t* path) { FileFoundCallback(WithBackslash(path), 0); }
