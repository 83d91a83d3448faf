#include "orbwatcher4/core/due/SelectionNote.h"

#include "companions/settings/OrbSettings.h"
#include "support/BarList.h"

#include <vector>

namespace
{

constexpr std::size_t LongestNote = 256;           // units: each file needs 40 at most
constexpr std::size_t LongestDestinations = 65536; // units: each path has 32767 at most

CString TextAt(const wchar_t* key, std::size_t longest)
{
    std::vector<wchar_t> text(longest);
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.Load();
    return settings.GetValue(key, text.data(), text.size()) ? CString(text.data()) : CString();
}

bool Put(const wchar_t* key, const CString& text)
{
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.SetValue(key, text);
    return settings.Save();
}

} // namespace

CString SelectionNote::Read() { return TextAt(SelectionNoteKey, LongestNote); }
bool SelectionNote::Write(const CString& text) { return Put(SelectionNoteKey, text); }

std::set<CString> SelectionNote::ReadDestinations()
{
    return SplitAtBars(TextAt(DestinationsNoteKey, LongestDestinations));
}
bool SelectionNote::WriteDestinations(const std::set<CString>& folders)
{
    return Put(DestinationsNoteKey, JoinWithBars(folders));
}
