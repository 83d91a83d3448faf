#include "companions/settings/DataFolder.h"
#include "companions/settings/OrbSettings.h"
#include "support/TrustedFile.h"
#include "support/WithoutThreadToken.h"

namespace
{

bool IsDistrusted(bool opened, const CString& path, CString& distrusted, CString& reason)
{
    const DWORD error = opened ? ERROR_SUCCESS : GetLastError();
    if (!IsDistrust(error))
        return false;
    distrusted = path;
    reason = OpeningFailure(error);
    return true;
}

} // namespace

bool AreSettingsTrusted(CString& path, CString& reason)
{
    const WithoutThreadToken asProcess;
    const CString folder = DataFolder::Path();
    if (IsDistrusted(IsTrustedFolder(folder), folder, path, reason))
        return false;
    constexpr DWORD forAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    for (const wchar_t* name : SettingsFileNames) {
        const CString file = folder + L'\\' + name;
        const FileHandle opened = OpenTrusted(file, FILE_READ_ATTRIBUTES, forAll, nullptr, OPEN_EXISTING);
        if (IsDistrusted(static_cast<bool>(opened), file, path, reason))
            return false;
    }
    return true;
}
