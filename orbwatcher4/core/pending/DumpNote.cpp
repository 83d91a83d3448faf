#include "orbwatcher4/core/pending/DumpNote.h"

#include "companions/settings/OrbSettings.h"

std::optional<CString> DumpNote::Read()
{
    wchar_t note[64];
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.Load();
    return settings.GetValue(DumpNoteKey, note, std::size(note)) ? std::optional<CString>(note) : std::nullopt;
}

bool DumpNote::Write(const CString& digest)
{
    if (Read() == digest)
        return true;
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.SetValue(DumpNoteKey, digest);
    return settings.Save();
}
