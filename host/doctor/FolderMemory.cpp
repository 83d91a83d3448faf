#include "host/doctor/FolderMemory.h"

#include "host/Console.h"

#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace
{

using Json = nlohmann::json;

Json ReadSettings(const std::wstring& path)
{
    const std::ifstream file(std::filesystem::path(path), std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return Json::parse(text.str(), nullptr, false);
}

// Returns the member "name" of the section, for a key "section::name".
Json ValueOf(const Json& settings, std::wstring_view key)
{
    const std::size_t colons = key.find(L"::");
    const std::string section = ToUtf8(key.substr(0, colons)), name = ToUtf8(key.substr(colons + 2));
    const bool there = settings.is_object() && settings.contains(section) && settings[section].is_object() &&
                       settings[section].contains(name);
    return there ? settings[section][name] : Json();
}

std::optional<CString> TextOf(const Json& value)
{
    return value.is_string() ? std::optional<CString>(FromUtf8(value.get<std::string>()).c_str()) : std::nullopt;
}

} // namespace

FolderMemory ReadFolderMemory(const std::wstring& dataFolder)
{
    const Json settings = ReadSettings(dataFolder + L"\\" + SettingsFileNames[1]);
    const auto text = [&](const wchar_t* key) { return TextOf(ValueOf(settings, key)); };
    FolderMemory memory;
    memory.owner = {text(SelectionKey).value_or(CString()), text(IndexKey).value_or(CString())};
    memory.indexIdentity = text(IndexIdentityKey).value_or(CString());
    memory.dump = text(DumpNoteKey);
    memory.fullIsDue = ValueOf(settings, FirstTimeRunTimeKey) == 0;
    return memory;
}
