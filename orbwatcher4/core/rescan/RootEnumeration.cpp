#include "orbwatcher4/core/rescan/RootEnumeration.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/environment/ActingForUser.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/environment/FileFindData.h"
#include "orbwatcher4/core/rescan/EnumerationWalk.h"
#include "support/Handle.h"
#include "support/WithoutThreadToken.h"

#include <utility>

namespace
{

void SignalCompletion(const CString& name)
{
    if (name.IsEmpty())
        return;
    const WithoutThreadToken asProcess; // the event may be closed to the user
    const KernelHandle event(OpenEventW(EVENT_ALL_ACCESS, FALSE, name));
    if (event)
        SetEvent(event.Get());
}

} // namespace

RootEnumeration::RootEnumeration(const EnumerationParts& parts, std::function<bool(const CString& root)> isBeingRemoved)
    : m(parts),
      m_isBeingRemoved(std::move(isBeingRemoved)),
      m_found(parts)
{
}

// Returns false when the drive does not hold the recorded volume now, whatever it held when the rules were loaded. A
// walk over another volume would hand its files out under the recorded paths, and a walk over a drive that is being
// removed would keep it in use.
bool RootEnumeration::MayBeWalked(const CString& root) const
{
    return !m_isBeingRemoved(root) && IsReachable(root) && !m.selection.volumes.IsOther(root);
}

void RootEnumeration::LeaveOut(const CString& root)
{
    if (IsReachable(root))
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__,
                          L"Initial scan started, but VolumeID doesn't match drive %s. Scan for this drive skipped.",
                          root.GetString());
    else
        g_OrbLog.Log(L"%s is away and is enumerated when it returns", root.GetString());
    m_found.Tally().CountBeside(PathOutcome::Missing);
    m_found.Skipped().Add(root, PathOutcome::Missing);
    m.due.Rescans().Report(root, DueRescans::DriveReturned, m.config.clock->Seconds());
}

void RootEnumeration::EnumerateAll()
{
    if (!m.selection.loaded) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"The enumeration waits until the selection can be read");
        m.due.MakeFull();
        return;
    }
    Completes(L"Looking for files of others in the data folder", [this] { m.selection.WarnOfDataFolder(); });
    std::vector<UnmetPaths::Search> searches;
    for (const auto& [root, drive] : m.selection.Drives()) {
        if (m.stop.IsSet())
            break;
        if (!MayBeWalked(root)) {
            LeaveOut(root);
            continue;
        }
        searches.push_back(m_found.Unmet().Begin(root));
        const bool whole = EnumerateSelected(root);
        if (!m.stop.IsSet() && !MayBeWalked(root))
            LeaveOut(root); // the drive or its volume went away meanwhile
        if (whole)
            continue;
        if (!m.stop.IsSet()) // a run that is told to end has not failed
            g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Error enumerating all files on disk, possible exception.");
        m.due.Rescans().Report(root, DueRescans::DriveReturned, m.config.clock->Seconds());
    }
    m.selection.PrimaryWalks().ClearJunctionCache();
    if (!m.stop.IsSet())
        ReportVanished(searches);
    if (m.stop.IsSet())
        m.due.MakeFull();
    else
        SignalCompletion(m.config.completionEvent);
}

// Returns false when it was aborted.
bool RootEnumeration::EnumerateOne(const CString& root)
{
    if (!MayBeWalked(root)) {
        LeaveOut(root);
        return true;
    }
    const UnmetPaths::Search search = m_found.Unmet().Begin(root);
    if (!EnumerateSelected(root))
        return false;
    if (!m.stop.IsSet() && !MayBeWalked(root))
        LeaveOut(root); // the drive or its volume went away meanwhile
    if (!m.stop.IsSet())
        ReportVanished({search});
    return true;
}

void RootEnumeration::ReportVanished(const std::vector<UnmetPaths::Search>& searches)
{
    for (const UnmetPaths::Search& search : searches)
        m_found.Unmet().AddUnmet(search);
    m_found.Unmet().ReportAll();
}

bool RootEnumeration::EnumerateSelected(const wchar_t* drive) noexcept
{
    const COrbFuncLog guard(L"COrbWatcher::FirstRun");
    return Enumerate(drive, L"*", true);
}

bool RootEnumeration::Enumerate(const wchar_t* drive, const wchar_t* pattern, bool checkRules) noexcept
{
    const ActingForUser user(m.config.userToken);
    bool whole = false;
    if (user.Acts())
        Completes(L"EnumerateIncludedFiles", [&] { whole = EnumerateDrive(drive, pattern, checkRules); });
    return whole;
}

bool RootEnumeration::EnumerateDrive(const wchar_t* drive, const wchar_t* pattern, bool checkRules)
{
    if (checkRules) {
        std::vector<CString> files;
        bool onlyFiles = false;
        {
            const CSingleLock lock(m.selection.primaryLock);
            if (!m.selection.primary.IsDriveIncludeRules(drive))
                return true;
            onlyFiles = m.selection.primary.IsDriveIncludeOnlyFiles(drive);
            if (onlyFiles)
                m.selection.primary.GetExplicitFiles(drive, files);
        }
        for (const CString& file : files) {
            if (m.stop.IsSet())
                return false;
            m_found.TakeNamed(file);
        }
        if (onlyFiles)
            return true;
    }
    // Copied, because the rules may be edited while the walk runs.
    ScanLists lists;
    {
        const CSingleLock lock(m.selection.primaryLock);
        lists = m.selection.primary.CollectScanLists(drive);
    }
    EnumerationWalk walk(m_found);
    return m.selection.PrimaryWalks().ScanSelection(lists, pattern, m.config.hiddenFiles, &walk,
                                                    static_cast<HANDLE>(m.stop), &walk);
}
