// The volume of each root of the selection, as far as the rules record it.
//
// If another volume has the letter, it holds none of the paths, and nothing is deleted because of that. Any thread.
#pragma once

#include "orbwatcher4/OrbFilter.h"
#include "support/RankedSection.h"

#include <cstdint>
#include <map>

class RecordedVolumes
{
public:
    // drives: a map of records with a serial number, by root.
    template <typename List>
    void Follow(const List& drives)
    {
        std::map<CString, std::int32_t> serials;
        for (const auto& [root, drive] : drives)
            if (drive.serial != 0)
                serials.emplace(root, drive.serial);
        const CSingleLock lock(m_section);
        m_serials.swap(serials);
    }
    // Returns true also when a volume is recorded and its drive is away. Returns false when no volume is recorded: any
    // volume is right then.
    bool IsOther(const CString& path) const;
    // Returns true when a volume is recorded for the root of the path, and this is its number. Asks nothing.
    bool IsRecorded(const CString& path, std::uint32_t serial) const;

private:
    // Returns 0 when no volume is recorded.
    std::int32_t RecordedFor(const CString& path) const;

    mutable RankedSection m_section{LockRank::Leaf, L"recorded volumes"};
    std::map<CString, std::int32_t> m_serials ORB_GUARDED_BY(m_section); // by root
};
