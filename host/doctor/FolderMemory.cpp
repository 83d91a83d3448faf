#include "host/doctor/FolderMemory.h"

#include "companions/settings/SettingsValue.h"
#include "host/Console.h"
#include "support/BarList.h"

#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace
{

using Json = nlohmann::json;

// Reads the value as the library does.
std::optional<CString> TextOf(const Json& value)
{
    const std::optional<std::wstring> text = SettingsValue::AsText(value);
    return text ? std::optional<CString>(text->c_str()) : std::nullopt;
}

} // namespace

std::string ReadBytes(const std::wstring& path)
{
    const std::ifstream file(std::filesystem::path(path), std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

Json ReadSettingsFile(const std::wstring& dataFolder, const wchar_t* name)
{
    return Json::parse(ReadBytes(dataFolder + L"\\" + name), nullptr, false);
}

Json SettingOf(const Json& settings, std::wstring_view key)
{
    const std::size_t colons = key.find(L"::");
    const std::string section = ToUtf8(key.substr(0, colons)), name = ToUtf8(key.substr(colons + 2));
    const bool there = settings.is_object() && settings.contains(section) && settings[section].is_object() &&
                       settings[section].contains(name);
    return there ? settings[section][name] : Json();
}

FolderMemory ReadFolderMemory(const std::wstring& dataFolder)
{
    const Json settings = ReadSettingsFile(dataFolder, SettingsFileNames[1]);
    const auto text = [&](const wchar_t* key) { return TextOf(SettingOf(settings, key)); };
    FolderMemory memory;
    memory.owner = {text(SelectionKey).value_or(CString()), text(IndexKey).value_or(CString())};
    memory.indexIdentity = text(IndexIdentityKey).value_or(CString());
    memory.dump = text(DumpNoteKey);
    memory.fullCompleted = SettingsValue::AsNumber(SettingOf(settings, FirstTimeRunTimeKey));
    memory.dueReason = text(FullDueReasonKey).value_or(CString());
    memory.selectionContent = text(SelectionNoteKey).value_or(CString());
    memory.destinations = SplitAtBars(text(DestinationsNoteKey).value_or(CString()));
    memory.rescans = SplitAtBars(text(RescansDueKey).value_or(CString()));
    return memory;
}
