// The directories and junctions that OrbFilter remembers from walks.
#include "orbwatcher4/filter/Junctions.h"
#include "orbwatcher4/filter/ApiBoundary.h"

#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/ScanBounds.h"
#include "support/Backslash.h"
#include "support/CaseFold.h"
#include "support/PathFingerprint.h"

namespace
{

// Returns a junction's key in the cache.
CString JunctionKey(const CString& junction) { return WithBackslash(junction).MakeLower(); }

// Returns a key that no directory has, because no name contains an asterisk.
PathFingerprint FilesKey(const CString& folder) { return FingerprintOf((WithBackslash(folder) + L'*').View()); }

} // namespace

bool OrbFilter::AddScannedDirectory(CString& dir)
{
    dir = WithBackslash(dir);
    const PathFingerprint key = FingerprintOf(dir.View());
    const WriteScope scope(m_lock);
    return m_scanned.insert(key).second;
}

void OrbFilter::RememberJunction(const CString& junction, const CString& destination)
{
    const CString key = JunctionKey(junction);
    const WriteScope scope(m_lock);
    m_junctions[key] = destination;
}

void OrbFilter::UpdateJunctionDestination(CString& path)
{
    AtBoundary(L"OrbFilter::UpdateJunctionDestination", [&] {
        const ReadScope scope(m_lock);
        // Only the first matching key is applied, in key order.
        for (const auto& [junction, destination] : m_junctions) {
            if (!BeginsNoCase(path.View(), junction.View()))
                continue;
            path = WithBackslash(destination) + path.Mid(junction.GetLength());
            return;
        }
    });
}

void OrbFilter::ClearJunctionCache()
{
    AtBoundary(L"OrbFilter::ClearJunctionCache", [&] {
        const WriteScope scope(m_lock);
        if (!m_scanned.empty())
            EmptyTable(m_scanned);
    });
}

bool JunctionAccess::AddScanned(OrbFilter& filter, CString& folder) { return filter.AddScannedDirectory(folder); }

bool JunctionAccess::IsScanned(OrbFilter& filter, const CString& folder)
{
    const PathFingerprint key = FingerprintOf(WithBackslash(folder).View());
    const ReadScope scope(filter.m_lock);
    return filter.m_scanned.count(key) != 0;
}

void JunctionAccess::AddFilesReported(OrbFilter& filter, const CString& folder)
{
    const PathFingerprint key = FilesKey(folder);
    const WriteScope scope(filter.m_lock);
    filter.m_scanned.insert(key);
}

bool JunctionAccess::AreFilesReported(OrbFilter& filter, const CString& folder)
{
    const PathFingerprint key = FilesKey(folder);
    const ReadScope scope(filter.m_lock);
    return filter.m_scanned.count(key) != 0;
}

void JunctionAccess::Remember(OrbFilter& filter, const CString& junction, const CString& destination)
{
    filter.RememberJunction(junction, destination);
}

void JunctionAccess::Correct(OrbFilter& filter, const CString& junction, const CString& destination)
{
    const CString key = JunctionKey(junction);
    const WriteScope scope(filter.m_lock);
    if (const auto found = filter.m_junctions.find(key); found != filter.m_junctions.end())
        found->second = destination;
}

void JunctionAccess::Forget(OrbFilter& filter, const CString& folder)
{
    const CString key = JunctionKey(folder);
    {
        const ReadScope scope(filter.m_lock); // hardly any folder was a junction once
        if (!filter.m_junctions.contains(key))
            return;
    }
    const WriteScope scope(filter.m_lock);
    filter.m_junctions.erase(key);
}

void JunctionAccess::ForgetAll(OrbFilter& filter, const CString& path)
{
    const CString prefix = JunctionKey(path);
    const auto isBelow = [&](auto junction) {
        return junction != filter.m_junctions.end() && junction->first.View().starts_with(prefix.View());
    };
    {
        const ReadScope scope(filter.m_lock); // hardly any path was a junction
        if (!isBelow(filter.m_junctions.lower_bound(prefix)))
            return;
    }
    const WriteScope scope(filter.m_lock);
    for (auto junction = filter.m_junctions.lower_bound(prefix); isBelow(junction);)
        junction = filter.m_junctions.erase(junction);
}
