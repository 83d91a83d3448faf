#include "orbwatcher4/core/selection/RecordedVolumes.h"

#include "orbwatcher4/core/environment/FileFindData.h"
#include "support/VolumeSerial.h"

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
    return !HoldsVolume(RootOf(path), recorded);
}
