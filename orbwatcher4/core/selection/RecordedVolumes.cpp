#include "orbwatcher4/core/selection/RecordedVolumes.h"

#include "orbwatcher4/core/environment/FileFindData.h"

bool RecordedVolumes::IsOther(const CString& path) const
{
    std::int32_t recorded = 0;
    {
        const CSingleLock lock(m_section);
        const auto found = m_serials.find(OrbFilter::StripToRoot(path));
        if (found == m_serials.end())
            return false;
        recorded = found->second;
    }
    DWORD serial = 0;
    return !GetVolumeInformationW(RootOf(path), nullptr, 0, &serial, nullptr, nullptr, nullptr, 0) ||
           static_cast<std::int32_t>(serial) != recorded;
}
