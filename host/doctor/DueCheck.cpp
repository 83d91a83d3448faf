#include "companions/settings/OrbSettings.h"
#include "companions/settings/SettingsValue.h"
#include "host/Console.h"
#include "host/DueReasons.h"
#include "host/doctor/Checks.h"
#include "host/doctor/FolderMemory.h"
#include "support/CaseFold.h"
#include "support/DigestOfFiles.h"

#include <algorithm>
#include <ctime>

namespace
{

using State = Check::State;

constexpr std::int64_t SecondsPerHour = 3600;
constexpr std::int32_t UsualInterval = 24; // hours

Check FullIsDue(State state, const std::wstring& why)
{
    return {"due", state, L"a full enumeration is due, which the next watch makes: " + why, L""};
}

// Returns the finding about an enumeration that the settings note as due.
Check NotedAsDue(const CString& reason)
{
    if (const DueReason* known = FindDueReason(reason))
        return FullIsDue(known->isLoss ? State::Warning : State::Ok, known->words);
    return FullIsDue(State::Ok, L"none was completed since it was asked for or needed");
}

// Returns why the next watch finds by itself that an enumeration is due; empty when it does not.
std::wstring WhyNoticed(const FolderMemory& memory, const SelectionFiles& selection,
                        const std::set<CString>& destinations)
{
    if (selection.data.empty())
        return L"";
    const CString content =
        DigestOfFiles({selection.data.c_str(), selection.autoExclude.c_str(), selection.advanced.c_str()});
    if (!memory.selectionContent.IsEmpty() && !content.IsEmpty() && content != memory.selectionContent)
        return L"the selection is not as it was when it was last looked at";
    for (const CString& before : memory.destinations) {
        const bool covered = std::any_of(destinations.begin(), destinations.end(), [&](const CString& folder) {
            return BeginsNoCase(before.View(), folder.View());
        });
        if (!covered)
            return std::wstring(before.View()) + L" is no destination any more, and was never looked at";
    }
    return L"";
}

// A completion that lies an hour or more in the future counts as long ago.
bool IsInFuture(std::int64_t completed) { return (std::time(nullptr) - completed) / SecondsPerHour < 0; }

// Returns the hours since the last full enumeration when its time has come again; empty otherwise.
std::wstring WhyByTime(std::int64_t completed, const std::wstring& dataFolder)
{
    const nlohmann::json settings = ReadSettingsFile(dataFolder, SettingsFileNames[2]);
    const std::int32_t interval = SettingsValue::AsNumber(SettingOf(settings, ScanIntervalKey)).value_or(UsualInterval);
    const std::int64_t hours = (std::time(nullptr) - completed) / SecondsPerHour;
    return hours < interval ? L"" : L"the last one was complete " + std::to_wstring(hours) + L" hours ago";
}

// Roots that the selection has left are looked at when they return to it.
Checks RescansOf(const FolderMemory& memory, const SelectionFiles& files)
{
    std::vector<SelectionView::Root> roots;
    if (!files.data.empty())
        roots = SelectionView(files).Roots();
    Checks checks;
    for (const CString& root : memory.rescans) {
        const bool named = std::any_of(roots.begin(), roots.end(), [&](const SelectionView::Root& one) {
            return EqualNoCase(one.path.View(), root.View());
        });
        if (named || files.data.empty())
            checks.push_back({"due", State::Ok,
                              L"an enumeration is due, because it was away or changes on it were lost; the watch that "
                              L"finds it there makes it",
                              root.GetString()});
    }
    return checks;
}

} // namespace

Checks CheckDue(const std::wstring& dataFolder, const SelectionFiles& selection, const std::set<CString>& destinations)
{
    if (FileIsThere(dataFolder + L"\\" + SettingsFileNames[1]) &&
        !ReadSettingsFile(dataFolder, SettingsFileNames[1]).is_object())
        return {}; // the check of the settings says what follows
    const FolderMemory memory = ReadFolderMemory(dataFolder);
    Checks checks;
    if (!memory.fullCompleted)
        checks.push_back(FullIsDue(State::Ok, L"none was made with this data folder yet"));
    else if (*memory.fullCompleted == 0)
        checks.push_back(NotedAsDue(memory.dueReason));
    else if (IsInFuture(*memory.fullCompleted))
        checks.push_back(FullIsDue(State::Warning, L"the last one was complete in the future; the clock was set back, "
                                                   L"or Backup::FirstTimeRunTime is damaged"));
    else if (const std::wstring why = WhyNoticed(memory, selection, destinations); !why.empty())
        checks.push_back(FullIsDue(State::Ok, why));
    else if (const std::wstring time = WhyByTime(*memory.fullCompleted, dataFolder); !time.empty())
        checks.push_back(FullIsDue(State::Ok, time));
    for (const Check& rescan : RescansOf(memory, selection))
        checks.push_back(rescan);
    return checks;
}
