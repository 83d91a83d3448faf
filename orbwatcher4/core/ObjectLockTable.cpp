#include "orbwatcher4/core/ObjectLockTable.h"

void ObjectLockTable::SetRank(const void* object, LockRank rank, const wchar_t* name)
{
    const CSingleLock lock(m_section);
    Entry& entry = m_entries[object];
    entry.rank = rank;
    entry.name = name;
    entry.section = std::make_unique<RankedSection>(rank, name, ObjectSpins);
}

RankedSection& ObjectLockTable::Lock(const void* object)
{
    RankedSection* section;
    {
        const CSingleLock lock(m_section);
        Entry& entry = m_entries[object];
        if (!entry.section)
            entry.section = std::make_unique<RankedSection>(entry.rank, entry.name, ObjectSpins);
        section = entry.section.get();
    }
    section->Lock();
    return *section;
}

void ObjectLockTable::Unlock(const void* object)
{
    RankedSection* section = nullptr;
    {
        const CSingleLock lock(m_section);
        const auto found = m_entries.find(object);
        if (found != m_entries.end())
            section = found->second.section.get();
    }
    if (section)
        section->Unlock();
}
