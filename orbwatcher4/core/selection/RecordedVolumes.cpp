#include "orbwatcher4/core/selection/RecordedVolumes.h"

#include "orbwatcher4/core/environment/FileFindData.h"
#include "support/VolumeSerial.h"

bool RecordedVolumes::IsOther(const CString& path) const
{
    const std::int32_t recorded = RecordedFor(path);
    return recorded != 0 && !HoldsVolume(RootOf(path), recorded);
}

bool RecordedVolumes::IsRecorded(const CString& path, std::uint32_t serial) const
{
    return serial != 0 && RecordedFor(path) == static_cast<std::int32_t>(serial);
}

std::int32_t RecordedVolumes::RecordedFor(const CString& path) const
{
    const CSingleLock lock(m_section);
    const auto found = m_serials.find(OrbFilter::StripToRoot(path));
    return found == m_serials.end() ? 0 : found->second;
}
