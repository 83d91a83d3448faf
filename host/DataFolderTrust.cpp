#include "host/DataFolderTrust.h"

#include "companions/settings/DataFolder.h"
#include "support/TrustedFile.h"

namespace
{

constexpr const wchar_t* SettingsFiles[] = {L"MainSettings.json", L"ServiceRunSettings.json",
                                            L"UserConfigurations.json"};

std::wstring TextOf(DWORD error) { return IsDistrust(error) ? OpeningFailure(error).GetString() : std::wstring(); }

bool TellDistrust(const std::wstring& reason, const std::wstring& path, RecordWriter& writer)
{
    if (!reason.empty())
        writer.Error(L"not trusted: " + reason + L". Nothing was started", path);
    return !reason.empty();
}

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

bool RequireTrustedSettings(RecordWriter& writer)
{
    const std::wstring folder(DataFolder::Path().View());
    if (TellDistrust(DistrustOfFolder(folder), folder, writer))
        return false;
    for (const wchar_t* name : SettingsFiles)
        if (const std::wstring path = folder + L"\\" + name; TellDistrust(DistrustOfFile(path), path, writer))
            return false;
    return true;
}
