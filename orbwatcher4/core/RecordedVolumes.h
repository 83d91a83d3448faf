// Which volume lies under each root of the selection, as far as the rules know.
//
// Another volume under the same letter holds none of the paths, and nothing is
// deleted because of that. Any thread.
#pragma once

#include "orbwatcher4/OrbFilter.h"
#include "support/RankedSection.h"

#include <cstdint>
#include <map>

class RecordedVolumes
{
public:
    void Follow(const DriveList& drives);
    // False also where no volume is recorded: any will do then.
    bool IsOther(const CString& path) const;

private:
    mutable RankedSection m_section{LockRank::Leaf, L"recorded volumes"};
    std::map<CString, std::int32_t> m_serials; // roots whose volume is recorded; guarded by m_section
};
