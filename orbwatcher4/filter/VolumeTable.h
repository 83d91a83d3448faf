// The drives of the machine, read once for all rules of a file: asking the system takes longer than reading a rule.
//
// One thread uses an object. The system shows no error boxes meanwhile.
#pragma once

#include "orbwatcher4/filter/Filter.h"

#include <cstdint>
#include <map>
#include <string_view>

class VolumeTable
{
public:
    VolumeTable();

    // Changes the rule's path when its volume is mounted with another letter now, and notes in the rule whether the
    // volume is there. `vid`: the volume's serial number in decimal; empty when any volume will do.
    void Relocate(Filter& rule, std::wstring_view vid) const;
    bool IsOnNetwork(const CString& path);

private:
    std::map<std::int32_t, CString> m_rootOfSerial;
    std::map<int, bool> m_networkDrives; // by the number of the letter; -1 for a path without one
};

// Replaces one root of the path by the other. The path changes only where it contains the lower-cased old root
// literally. A drive's root ends in a backslash and a share's does not; the path has one in either case.
void ChangeRoot(CString& path, const CString& from, const CString& to);
