#include "directory_changes/CompletionKeys.h"

ULONG_PTR CompletionKeys::Next()
{
    const CSingleLock lock(m_section);
    return ++m_last;
}

void CompletionKeys::Add(ULONG_PTR key, std::shared_ptr<CDirWatchInfo> record)
{
    const CSingleLock lock(m_section);
    m_records[key] = std::move(record);
}

std::shared_ptr<CDirWatchInfo> CompletionKeys::Find(ULONG_PTR key) const
{
    const CSingleLock lock(m_section);
    const auto found = m_records.find(key);
    return found == m_records.end() ? nullptr : found->second;
}

void CompletionKeys::Remove(ULONG_PTR key)
{
    std::shared_ptr<CDirWatchInfo> removed; // destroyed outside the section
    const CSingleLock lock(m_section);
    const auto found = m_records.find(key);
    if (found == m_records.end())
        return;
    removed = std::move(found->second);
    m_records.erase(found);
}
