#include "host/DataFolderTrust.h"

#include "companions/settings/OrbSettings.h"
#include "support/TrustedFile.h"

namespace
{

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

bool RequireTrustedSettings(RecordWriter& writer)
{
    CString path, reason;
    if (AreSettingsTrusted(path, reason))
        return true;
    writer.Error(L"not trusted: " + std::wstring(reason) + L". Nothing was started", path.GetString());
    return false;
}
