#include "orbwatcher4/filter/ReparsePoint.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/ReparseData.h"
#include "support/CaseFold.h"

namespace
{

constexpr int MostHops = 63; // as many as the system itself follows

bool IsFolderLink(DWORD attributes)
{
    constexpr DWORD link = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & link) == link;
}

bool SameFolder(const CString& left, const CString& right)
{
    return EqualNoCase(CString(left).TrimRight(L'\\').View(), CString(right).TrimRight(L'\\').View());
}

// Some file systems have links and cannot return their data.
bool HasNoReparseData(DWORD error)
{
    return error == ERROR_NOT_A_REPARSE_POINT || error == ERROR_NOT_SUPPORTED || error == ERROR_INVALID_FUNCTION;
}

ReparseResult FollowedBySystem(ScanDisk& disk, const CString& link, CString& next)
{
    const CString real = disk.Follow(link);
    if (real.IsEmpty())
        return ReparseResult::Unusable;
    if (SameFolder(real, link)) // it has become a plain folder since the list was read
        return ReparseResult::NoLink;
    next = real;
    return ReparseResult::Leads;
}

// Returns the path under which a volume is known: its letter, or the first folder in which it is mounted, which is then
// a plain folder.
ReparseResult MountedVolume(ScanDisk& disk, const CString& link, const CString& name, CString& next)
{
    const CString mounted = disk.MountedAt(L"\\\\?\\" + name);
    if (mounted.IsEmpty() || SameFolder(mounted, link))
        return ReparseResult::NoLink;
    next = mounted;
    return ReparseResult::Leads;
}

ReparseResult TargetOf(ScanDisk& disk, const CString& link, const ReparseTarget& target, CString& next)
{
    if (!target.relative && BeginsNoCase(target.name.View(), L"Volume{"))
        return MountedVolume(disk, link, target.name, next);
    if (target.relative)
        next = ResolveRelative(link, target.name);
    else
        next = BeginsNoCase(target.name.View(), L"UNC\\") ? L"\\\\" + target.name.Mid(4) : target.name;
    return ReparseResult::Leads;
}

ReparseResult ReadLink(ScanDisk& disk, const CString& link, CString& next)
{
    std::vector<std::byte> data;
    const DWORD error = disk.ReadReparse(link, data);
    const ReparseResult followed =
        error && HasNoReparseData(error) ? FollowedBySystem(disk, link, next) : ReparseResult::Unusable;
    if (error && followed == ReparseResult::Unusable)
        g_OrbLog.Log(L"Error getting reparse destination: %d", error);
    if (error)
        return followed;
    ReparseTarget target;
    switch (ParseReparseData(data, target)) {
    case ReparseKind::Link:
        return TargetOf(disk, link, target, next);
    case ReparseKind::NoLink:
        return ReparseResult::NoLink;
    default:
        return ReparseResult::Unusable;
    }
}

// Resolves the links above a target. A target behind other links has many names, and a relative link makes a longer one
// at each meeting; only the name without links is met again. A target on another drive keeps its name, because the
// rules use it.
CString WithoutLinksAbove(ScanDisk& disk, const CString& path)
{
    const CString real = disk.Follow(path);
    const bool sameDrive = !real.IsEmpty() && OrbFilter::StripToRoot(real) == OrbFilter::StripToRoot(path);
    return sameDrive ? real : path;
}

ReparseResult FollowChain(ScanDisk& disk, CString link, CString& destination)
{
    for (int hop = 0; hop < MostHops; ++hop) {
        CString next;
        const ReparseResult result = ReadLink(disk, link, next);
        if (result == ReparseResult::Unusable || (result == ReparseResult::NoLink && hop == 0))
            return result;
        if (result == ReparseResult::Leads)
            link = next;
        if (result == ReparseResult::NoLink || !IsFolderLink(disk.Attributes(link))) {
            destination = WithoutLinksAbove(disk, link);
            return ReparseResult::Leads;
        }
    }
    return ReparseResult::Unusable; // a circle ends here as well
}

} // namespace

ReparseResult GetReparseDestination(ScanDisk& disk, const CString& path, DWORD attributes, CString& destination)
{
    if (!IsFolderLink(attributes ? attributes : disk.Attributes(path)))
        return ReparseResult::NoLink;
    const ReparseResult result = FollowChain(disk, path, destination);
    if (result == ReparseResult::Unusable)
        g_OrbLog.WriteLog(2, L"OrbFilter", __LINE__, L"Skipping unusable junction point %s", path.GetString());
    return result;
}
