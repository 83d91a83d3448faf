// The names of a rule's path, as the drives of this machine spell them. Shares are not asked: one that is gone takes
// long to answer, and asking would tell its server who this service is. No error boxes. One thread.
#pragma once

#include "orbwatcher4/filter/RulePath.h"

#include <map>

class DiskNames final : public RulePathDisk
{
public:
    CString NameOf(const CString& path) override;

private:
    std::map<CString, CString> m_known; // what was asked already: the rules of a selection share their folders
};
