#include "orbwatcher4/filter/WalkMemory.h"

#include "support/Backslash.h"
#include "support/CaseFold.h"

namespace
{

constexpr PathFingerprint NoFingerprint = {~0ull, ~0ull};

// Returns a key that no directory has, because no name contains an asterisk.
PathFingerprint FilesKey(const CString& folder) { return FingerprintOf((WithBackslash(folder) + L'*').View()); }

} // namespace

WalkMemory::WalkMemory() { m_scanned.set_empty_key(NoFingerprint); }

bool WalkMemory::AddScanned(CString& folder)
{
    folder = WithBackslash(folder);
    const PathFingerprint key = FingerprintOf(folder.View());
    const WriteScope scope(m_lock);
    return m_scanned.insert(key).second;
}

void WalkMemory::Remember(const CString& junction, const CString& destination)
{
    const CString key = WithBackslash(junction);
    const WriteScope scope(m_lock);
    m_junctions[key] = destination;
}

void WalkMemory::Follow(CString& path)
{
    const ReadScope scope(m_lock);
    if (m_junctions.empty())
        return;
    // Only the first junction on the way from the root is applied.
    const std::wstring_view text = path.View();
    for (std::size_t slash = text.find(L'\\'); slash != text.npos; slash = text.find(L'\\', slash + 1)) {
        const auto found = m_junctions.find(text.substr(0, slash + 1));
        if (found == m_junctions.end())
            continue;
        path = WithBackslash(found->second) + path.Mid(found->first.GetLength());
        return;
    }
}

void WalkMemory::ForgetScanned()
{
    const WriteScope scope(m_lock);
    if (!m_scanned.empty())
        EmptyTable(m_scanned);
}

bool WalkMemory::IsScanned(const CString& folder)
{
    const PathFingerprint key = FingerprintOf(WithBackslash(folder).View());
    const ReadScope scope(m_lock);
    return m_scanned.count(key) != 0;
}

void WalkMemory::AddFilesReported(const CString& folder)
{
    const PathFingerprint key = FilesKey(folder);
    const WriteScope scope(m_lock);
    m_scanned.insert(key);
}

bool WalkMemory::AreFilesReported(const CString& folder)
{
    const PathFingerprint key = FilesKey(folder);
    const ReadScope scope(m_lock);
    return m_scanned.count(key) != 0;
}

void WalkMemory::Correct(const CString& junction, const CString& destination)
{
    const CString key = WithBackslash(junction);
    const WriteScope scope(m_lock);
    if (const auto found = m_junctions.find(key); found != m_junctions.end())
        found->second = destination;
}

void WalkMemory::Forget(const CString& folder)
{
    const CString key = WithBackslash(folder);
    {
        const ReadScope scope(m_lock); // hardly any folder was a junction once
        if (!m_junctions.contains(key))
            return;
    }
    const WriteScope scope(m_lock);
    m_junctions.erase(key);
}

void WalkMemory::ForgetAll(const CString& path)
{
    const CString prefix = WithBackslash(path);
    const auto isBelow = [&](auto junction) {
        return junction != m_junctions.end() && BeginsNoCase(junction->first.View(), prefix.View());
    };
    {
        const ReadScope scope(m_lock); // hardly any path was a junction
        if (!isBelow(m_junctions.lower_bound(prefix)))
            return;
    }
    const WriteScope scope(m_lock);
    for (auto junction = m_junctions.lower_bound(prefix); isBelow(junction);)
        junction = m_junctions.erase(junction);
}
