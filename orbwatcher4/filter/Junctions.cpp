// What OrbFilter remembers of the directories that a walk has seen.
#include "orbwatcher4/OrbFilter.h"
#include "support/CaseFold.h"
#include "support/Hashes.h"

namespace
{

void EndInBackslash(CString& path)
{
    if (path.IsEmpty() || path[path.GetLength() - 1] != L'\\')
        path += L'\\';
}

} // namespace

bool OrbFilter::AddScannedDirectory(CString& dir)
{
    EndInBackslash(dir);
    const std::uint64_t key = PathHash64(dir.View());
    const WriteScope scope(m_lock);
    return m_scanned.insert(key).second;
}

void OrbFilter::RememberJunction(const CString& junction, const CString& destination)
{
    CString key = junction;
    EndInBackslash(key);
    const WriteScope scope(m_lock);
    m_junctions[key.MakeLower()] = destination;
}

void OrbFilter::UpdateJunctionDestination(CString& path)
{
    const ReadScope scope(m_lock);
    // Only the first matching key is applied, in key order.
    for (const auto& [junction, destination] : m_junctions) {
        if (!BeginsNoCase(path.View(), junction.View()))
            continue;
        CString mapped = destination;
        EndInBackslash(mapped);
        mapped += path.Mid(junction.GetLength());
        path = mapped;
        return;
    }
}

void OrbFilter::ClearJunctionCache()
{
    const WriteScope scope(m_lock);
    if (!m_scanned.empty())
        m_scanned.clear();
}
