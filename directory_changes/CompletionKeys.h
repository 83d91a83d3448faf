// The table behind the completion keys of one port. A key is a small number that is never used again: a late packet of
// a record that is gone finds nothing. The table keeps a record, with its OVERLAPPED and buffer, alive as long as a
// packet may come. Any thread.
#pragma once

#include "support/RankedSection.h"

#include <windows.h>

#include <map>
#include <memory>

class CDirWatchInfo;

class CompletionKeys
{
public:
    // Returns an unused key, never 0.
    ULONG_PTR Next();
    // Throws std::bad_alloc.
    void Add(ULONG_PTR key, std::shared_ptr<CDirWatchInfo> record);
    // Returns null for a key that was removed.
    std::shared_ptr<CDirWatchInfo> Find(ULONG_PTR key) const;
    // Does nothing for a key that was removed before.
    void Remove(ULONG_PTR key);

private:
    mutable RankedSection m_section{LockRank::Leaf, L"completion keys"};
    std::map<ULONG_PTR, std::shared_ptr<CDirWatchInfo>> m_records;
    ULONG_PTR m_last = 0;
};
