#include "orbwatcher4/filter/VolumeTable.h"

#include "orbwatcher4/OrbFilter.h"
#include "support/Backslash.h"
#include "support/Numbers.h"
#include "support/QuietErrors.h"
#include "support/VolumeSerial.h"

#include <windows.h>

#include <shlwapi.h>

VolumeTable::VolumeTable()
{
    const QuietErrors quiet;
    // Every letter is checked: the system's list of drives may lag behind a drive that was just attached, and a letter
    // without a drive fails at once.
    for (int letter = 0; letter < 26; ++letter) {
        CString root;
        root.Format(L"%c:\\", L'A' + letter);
        // Serial 0 identifies no volume: file systems without serials all report it.
        if (const std::int32_t serial = VolumeSerial(root).value_or(0); serial != 0)
            m_rootOfSerial[serial] = root;
    }
}

void VolumeTable::Relocate(Filter& rule, std::wstring_view vid) const
{
    rule.volumeFound = vid.empty();
    if (vid.empty())
        return;
    rule.vid = ToInt32(vid);
    const auto found = m_rootOfSerial.find(rule.vid);
    if (found == m_rootOfSerial.end())
        return;
    ChangeRoot(rule.path, OrbFilter::StripToRoot(rule.path), found->second);
    rule.volumeFound = true;
}

bool VolumeTable::IsOnNetwork(const CString& path)
{
    if (PathIsUNCW(path))
        return true;
    const auto [drive, isFirst] = m_networkDrives.try_emplace(PathGetDriveNumberW(path));
    if (isFirst)
        drive->second = PathIsNetworkPathW(path) != FALSE;
    return drive->second;
}

void ChangeRoot(CString& path, const CString& from, const CString& to)
{
    if (EndsInBackslash(from) == EndsInBackslash(to))
        path.Replace(from, to);
    else
        path.Replace(WithBackslash(from), WithBackslash(to));
}
