#include "host/DataFolderTrust.h"

#include "companions/settings/DataFolder.h"
#include "companions/settings/OrbSettings.h"
#include "host/Console.h"
#include "host/Destination.h"
#include "host/LibraryMessages.h"
#include "support/TrustedFile.h"

#include <filesystem>

namespace
{

// Returns why there is no data folder and none can be made; empty when there is one, or a folder in which to make it.
std::wstring WhyNoFolder(const std::filesystem::path& folder)
{
    for (std::filesystem::path path = folder;; path = path.parent_path()) {
        const DWORD attributes = GetFileAttributesW(path.c_str());
        if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY))
            return L"";
        if (attributes != INVALID_FILE_ATTRIBUTES)
            return path == folder ? L"a file stands where the data folder should be"
                                  : L"the data folder cannot be made, because this is a file: " + path.wstring();
        if (path == path.parent_path())
            return L"the data folder is not there, and neither is its drive";
    }
}

void TellDamagedSettings(RecordWriter& writer)
{
    LibraryMessages messages(LibraryMessages::Keep::Failures);
    GetMainSettings().Load();
    GetUserConfigurations().Load();
    const bool runRead = GetServiceRunSettings().Load();
    for (const LibraryMessages::Line& line : messages.Take())
        writer.Note(line.text);
    // A damaged file was put aside. A file that another program holds for a moment is read later.
    if (!runRead && !FileIsThere(std::wstring(DataFolder::Path().GetString()) + L"\\" + SettingsFileNames[1]))
        writer.Note(L"so it is not known whose data folder this is, and what was due: the next watch takes the folder "
                    L"over and looks at everything again",
                    DataFolder::Path().GetString());
}

std::wstring TextOf(DWORD error) { return IsDistrust(error) ? OpeningFailure(error).GetString() : std::wstring(); }

} // namespace

std::wstring DistrustOfFolder(const std::wstring& folder)
{
    return IsTrustedFolder(folder.c_str()) ? L"" : TextOf(GetLastError());
}

std::wstring DistrustOfFile(const std::wstring& path)
{
    constexpr DWORD forAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const FileHandle file = OpenTrusted(path.c_str(), FILE_READ_ATTRIBUTES, forAll, nullptr, OPEN_EXISTING);
    return file ? L"" : TextOf(GetLastError());
}

std::optional<ExitCode> RefuseDataFolder(RecordWriter& writer)
{
    const CString folder = DataFolder::Path();
    if (const std::wstring reason = WhyNoFolder(folder.GetString()); !reason.empty()) {
        writer.Error(reason + L". Nothing was started; name another folder with --data-folder", folder.GetString());
        return ExitUsage;
    }
    CString path, reason;
    if (!AreSettingsTrusted(path, reason)) {
        writer.Error(L"not trusted: " + std::wstring(reason) + L". Nothing was started", path.GetString());
        return ExitFailure;
    }
    TellDamagedSettings(writer);
    TellDestinationSetting(writer);
    return std::nullopt;
}
