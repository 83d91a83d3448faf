#include "companions/settings/SettingsValue.h"
#include "host/Console.h"
#include "host/Destination.h"
#include "host/doctor/Checks.h"
#include "host/doctor/FolderMemory.h"
#include "support/CaseFold.h"

#include <limits>

namespace
{

using State = Check::State;
using Json = nlohmann::json;

struct KnownSetting {
    std::size_t file; // number in SettingsFileNames
    const wchar_t* key;
    std::vector<const wchar_t*> words; // the only texts; empty: a number
    const wchar_t* fallback;
};

const std::vector<KnownSetting>& KnownSettings()
{
    static const std::vector<KnownSetting> known{
        {0, L"Main::Online", {}, L"0"},
        {0, L"Main::ObjectNames", {L"Global", L"Local"}, L"Global"},
        {0, L"Main::LogLevel", {L"errors", L"all"}, L"errors"},
        {1, FirstTimeRunTimeKey, {}, L"0"},
        {2, ScanIntervalKey, {}, L"24"},
    };
    return known;
}

std::wstring Shown(const Json& value)
{
    constexpr std::size_t longest = 60;
    std::wstring text = FromUtf8(value.dump(-1, ' ', false, Json::error_handler_t::replace));
    if (text.size() > longest)
        text = text.substr(0, longest) + L"...";
    return text;
}

bool IsCut(const Json& value)
{
    using Limits = std::numeric_limits<std::int32_t>;
    return value.is_number() && (value.get<double>() < Limits::min() || value.get<double>() > Limits::max());
}

// Returns what is odd about the value, and what is used instead; empty when it is as usual.
std::wstring WhyOdd(const KnownSetting& known, const Json& value)
{
    if (known.words.empty()) {
        const std::optional<std::int32_t> number = SettingsValue::AsNumber(value);
        if (!number)
            return L"is no number; " + std::wstring(known.fallback) + L" is used";
        return IsCut(value) ? L"is too large; " + std::to_wstring(*number) + L" is used" : L"";
    }
    const std::optional<std::wstring> text = SettingsValue::AsText(value);
    std::wstring all;
    for (const wchar_t* word : known.words) {
        if (text && EqualNoCase(*text, word))
            return L"";
        all += (all.empty() ? L"" : L", ") + std::wstring(word);
    }
    return L"is none of " + all + L"; " + known.fallback + L" is used";
}

Check Odd(const std::wstring& path, const wchar_t* key, const Json& value, const std::wstring& why)
{
    return {"settings", State::Warning, std::wstring(key) + L" " + Shown(value) + L" " + why, path};
}

// Returns the finding about a text that must have at most so many units.
std::optional<Check> CheckLength(const std::wstring& path, const wchar_t* key, const Json& value, std::size_t most,
                                 const wchar_t* instead)
{
    const std::optional<std::wstring> text = SettingsValue::AsText(value);
    if (value.is_null() || (text && text->size() <= most))
        return std::nullopt;
    return Odd(path, key, value,
               (text ? L"is longer than " + std::to_wstring(most) + L" units; " : std::wstring(L"is no text; ")) +
                   instead);
}

struct WrittenText {
    const wchar_t* key;
    bool due; // everything is looked at again when it is another one
};

// Reports texts of the library's own that are of another kind.
void CheckWrittenTexts(const std::wstring& path, const Json& settings, Checks& checks)
{
    constexpr WrittenText written[] = {{SelectionKey, false},       {IndexKey, false},        {IndexIdentityKey, true},
                                       {SelectionNoteKey, true},    {DumpNoteKey, true},      {RescansDueKey, true},
                                       {DestinationsNoteKey, true}, {FullDueReasonKey, false}};
    for (const WrittenText& text : written) {
        const Json value = SettingOf(settings, text.key);
        if (value.is_null() || value.is_string())
            continue;
        if (!SettingsValue::AsText(value))
            checks.push_back(Odd(path, text.key, value, L"is no text; it counts as missing"));
        else
            checks.push_back(Odd(path, text.key, value,
                                 std::wstring(L"is no text that a run writes") +
                                     (text.due ? L"; everything is looked at again" : L"")));
    }
}

// Reports sections that are no objects: whatever they should hold counts as missing.
void CheckSections(const std::wstring& path, const Json& settings, Checks& checks)
{
    if (!settings.is_object())
        return;
    for (const wchar_t* section : {L"Main", L"Backup", L"AppConfig"})
        if (const auto found = settings.find(ToUtf8(section)); found != settings.end() && !found->is_object())
            checks.push_back(Odd(path, section, *found,
                                 L"is no section, which is an object in braces; its values count as missing"));
}

void CheckInterval(const std::wstring& path, const Json& value, Checks& checks)
{
    if (const std::optional<std::int32_t> hours = SettingsValue::AsNumber(value); hours && *hours < 1 && !IsCut(value))
        checks.push_back(
            Odd(path, ScanIntervalKey, value, L"is less than one hour; everything is looked at every half hour"));
}

void CheckDestinationValue(const std::wstring& path, const Json& value, Checks& checks)
{
    constexpr std::size_t most = 2047;
    if (const std::optional<Check> check = CheckLength(path, DestinationKey, value, most, L"nothing is kept out by it"))
        checks.push_back(*check);
    else if (const std::optional<Check> setting =
                 CheckDestinationSetting(SettingsValue::AsText(value).value_or(std::wstring())))
        checks.push_back(*setting);
}

} // namespace

Checks CheckSettingsValues(const std::wstring& dataFolder)
{
    Json files[std::size(SettingsFileNames)];
    std::wstring paths[std::size(SettingsFileNames)];
    for (std::size_t i = 0; i < std::size(SettingsFileNames); ++i) {
        files[i] = ReadSettingsFile(dataFolder, SettingsFileNames[i]);
        paths[i] = dataFolder + L"\\" + SettingsFileNames[i];
    }
    Checks checks;
    for (std::size_t i = 0; i < std::size(SettingsFileNames); ++i)
        CheckSections(paths[i], files[i], checks);
    CheckWrittenTexts(paths[1], files[1], checks);
    for (const KnownSetting& known : KnownSettings()) {
        const Json value = SettingOf(files[known.file], known.key);
        const std::wstring why = value.is_null() ? std::wstring() : WhyOdd(known, value);
        if (!why.empty())
            checks.push_back(Odd(paths[known.file], known.key, value, why));
    }
    constexpr std::size_t longestInstance = 259;
    if (const std::optional<Check> check =
            CheckLength(paths[0], L"Main::Instance", SettingOf(files[0], L"Main::Instance"), longestInstance,
                        L"a name made from the data folder is used"))
        checks.push_back(*check);
    CheckInterval(paths[2], SettingOf(files[2], ScanIntervalKey), checks);
    CheckDestinationValue(paths[2], SettingOf(files[2], DestinationKey), checks);
    return checks;
}
