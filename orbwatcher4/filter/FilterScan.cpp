// The walks of OrbFilter.
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/ApiBoundary.h"
#include "orbwatcher4/filter/ReparsePoint.h"
#include "orbwatcher4/filter/SelectionWalk.h"
#include "support/Handle.h"
#include "support/Impersonation.h"
#include "support/Privileges.h"
#include "support/SystemPath.h"

namespace
{

CString PatternOrAll(const wchar_t* pattern) { return pattern && *pattern ? pattern : L"*"; }

// Gives the calling thread the rights of a backup, so that a walk sees what the backup may read; the thread gets its
// own rights back.
class BackupRights
{
public:
    BackupRights()
    {
        EnableThreadPrivilege(L"SeBackupPrivilege");
        EnableThreadPrivilege(L"SeRestorePrivilege");
    }

private:
    const CallerTokenScope m_caller;
};

bool ReportSingleFile(const wchar_t* path, SmartScanCaller* caller)
{
    const FileHandle file(CreateFileW(SystemPath(path), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size;
    if (!file || !GetFileSizeEx(file.Get(), &size))
        return false;
    if (caller)
        caller->FileFoundCallback(path, static_cast<unsigned __int64>(size.QuadPart));
    return true;
}

// Walks from a folder. It is entered even when it is known, and by its own name when it is a link. If its sub-folders
// are not walked, later walks may enter it again.
bool WalkFrom(WalkMemory& memory, const CString& folder, SmartScanCaller* caller, const WalkOptions& options,
              bool recurse)
{
    ScanDisk disk;
    CString destination = folder;
    if (GetReparseDestination(disk, folder, 0, destination) == ReparseResult::NoLink)
        memory.Forget(folder);
    if (recurse)
        memory.AddScanned(destination);
    DirectoryWalk walk(memory, disk, caller, options);
    return recurse ? walk.WalkTree(folder) : walk.WalkFiles(folder);
}

// Walks a folder with everything below it, or reports a single file; does nothing when there is none.
bool WalkAll(WalkMemory& memory, const wchar_t* path, SmartScanCaller* caller, const WalkOptions& options)
{
    ScanDisk disk;
    const DWORD attributes = disk.Attributes(path);
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        g_OrbLog.Log(L"%s cannot be walked: %d", path, GetLastError());
        return true;
    }
    if (attributes & FILE_ATTRIBUTE_DIRECTORY)
        return WalkFrom(memory, path, caller, options, true);
    return DirectoryWalk(memory, disk, caller, options).TakeFile(path, disk.FileSize(path).value_or(0));
}

} // namespace

bool OrbFilter::ScanDirectory(const wchar_t* path, const wchar_t* pattern, bool includeHidden, SmartScanCaller* caller,
                              bool recurse, WalkObserver* observer)
{
    return AtBoundary(L"OrbFilter::ScanDirectory", false, [&]() -> bool {
        const DWORD attributes = ScanDisk().Attributes(path);
        if (attributes == INVALID_FILE_ATTRIBUTES)
            return false;
        if (!(attributes & FILE_ATTRIBUTE_DIRECTORY))
            return ReportSingleFile(path, caller);
        WalkOptions options;
        options.listPattern = PatternOrAll(pattern);
        options.includeHidden = includeHidden;
        options.observer = observer;
        return WalkFrom(m_memory, path, caller, options, recurse);
    });
}

bool OrbFilter::SmartScanDirectory(const wchar_t* path, const wchar_t* pattern, bool includeHidden,
                                   SmartScanCaller* caller, void* context, bool recurse)
{
    return AtBoundary(L"OrbFilter::SmartScanDirectory", false, [&]() -> bool {
        if (!recurse)
            return ScanSelection(CollectScanLists(path), pattern, includeHidden, caller, context);
        const BackupRights rights;
        m_memory.ForgetScanned();
        WalkOptions options;
        options.filePattern = PatternOrAll(pattern);
        options.includeHidden = includeHidden;
        options.abort = context;
        return WalkAll(m_memory, path, caller, options);
    });
}

bool OrbFilter::ScanSelection(const ScanLists& lists, const wchar_t* pattern, bool includeHidden,
                              SmartScanCaller* caller, void* context, WalkObserver* observer)
{
    return AtBoundary(L"OrbFilter::ScanSelection", false, [&]() -> bool {
        const BackupRights rights;
        WalkOptions options;
        options.filePattern = PatternOrAll(pattern);
        options.includeHidden = includeHidden;
        options.abort = context;
        options.observer = observer;
        ScanDisk disk;
        return SelectionWalk(m_memory, disk, lists, caller, options).Run();
    });
}

void OrbFilter::UpdateJunctionDestination(CString& path)
{
    AtBoundary(L"OrbFilter::UpdateJunctionDestination", [&] { m_memory.Follow(path); });
}

void OrbFilter::ClearJunctionCache()
{
    AtBoundary(L"OrbFilter::ClearJunctionCache", [&] { m_memory.ForgetScanned(); });
}

ScanLists OrbFilter::CollectScanLists(const wchar_t* drive) const
{
    return AtBoundary(L"OrbFilter::CollectScanLists", ScanLists(), [&]() -> ScanLists {
        ScanLists lists;
        for (const CString& folder : KeptOutFolders())
            lists.exclusions.push_back(folder);
        for (const FilterPtr& rule : RulesOf(drive)) {
            const bool included = rule->incEx == WatcherEnum::Include;
            // A walk may begin below an exclusion, but never below a folder that is kept out.
            if (included && rule->type != 0 && WhyKeptOut(rule->path) != KeptOut::No)
                continue;
            if (included && rule->type == 0)
                lists.files.push_back(rule->path);
            else if (included)
                lists.roots.push_back({rule->path, rule->includeSub});
            else if (rule->type != 0 && rule->includeSub && rule->mask.IsEmpty())
                lists.exclusions.push_back(rule->path);
        }
        return lists;
    });
}
