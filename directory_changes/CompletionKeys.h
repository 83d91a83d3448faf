// The table behind the completion keys. A key is a small number, never used
// again; a late packet of a record that is gone finds nothing. The table keeps a
// record (its OVERLAPPED and buffer with it) alive as long as a packet may come.
// Any thread.
#pragma once

#include "support/RankedSection.h"

#include <windows.h>

#include <map>
#include <memory>

class CDirWatchInfo;

class CompletionKeys
{
public:
    // The next key; 0 is never given.
    ULONG_PTR Next();
    void Add(ULONG_PTR key, std::shared_ptr<CDirWatchInfo> record);
    std::shared_ptr<CDirWatchInfo> Find(ULONG_PTR key) const;
    void Remove(ULONG_PTR key);
    bool Empty() const;

private:
    mutable RankedSection m_section{LockRank::Leaf, L"completion keys"};
    std::map<ULONG_PTR, std::shared_ptr<CDirWatchInfo>> m_records;
    ULONG_PTR m_last = 0;
};
