// What the drives of the machine are, asked once for all the rules of a file:
// asking the system takes longer than all the rest of reading a rule.
//
// One thread uses an object. No error boxes of the system while it is asked.
#pragma once

#include "orbwatcher4/filter/Filter.h"

#include <cstdint>
#include <map>
#include <string_view>

class VolumeTable
{
public:
    VolumeTable();

    // A volume that is mounted under another letter now takes the rule's path with it, and the rule remembers
    // whether its volume is there. `vid`: the volume's serial number in decimal, or empty: any volume will do.
    void Relocate(Filter& rule, std::wstring_view vid) const;
    bool IsOnNetwork(const CString& path);

private:
    std::map<std::int32_t, CString> m_rootOfSerial;
    std::map<int, bool> m_networkDrives; // by the number of the letter; -1 for a path without one
};

// Leads the path from one root to the other. It is changed only where the lower-cased old root stands in it letter
// by letter. A drive's root ends in a backslash and a share's does not; the path has one in either case.
void ChangeRoot(CString& path, const CString& from, const CString& to);
