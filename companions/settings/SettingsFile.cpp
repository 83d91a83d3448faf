#include "companions/settings/SettingsFile.h"

#include "companions/settings/DataFolder.h"
#include "support/FileReplacement.h"
#include "support/Handle.h"
#include "support/TrustedFile.h"

namespace
{

// Real files have some hundred bytes; the whole content is in memory several times.
constexpr LONGLONG LongestFile = 64 * 1024 * 1024;

} // namespace

// A link to a folder stays where it is (LinkMet), and so does everything in a folder that is not trusted.
bool SettingsFile::IsFolderInItsPlace() const
{
    const DWORD attributes = GetFileAttributesW(m_path);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) &&
           !(attributes & FILE_ATTRIBUTE_REPARSE_POINT) && IsTrustedFolder(m_path.Left(m_path.ReverseFind(L'\\')));
}

SettingsFile::ReadResult SettingsFile::Read(std::string& bytes, unsigned long& error) const
{
    bytes.clear();
    const FileHandle file = OpenTrusted(m_path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                        nullptr, OPEN_EXISTING);
    if (!file) {
        error = GetLastError();
        if (IsFolderInItsPlace())
            return ReadResult::Folder;
        const bool missing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
        return missing ? ReadResult::Missing : ReadResult::Failed;
    }
    LARGE_INTEGER size = {};
    if (GetFileSizeEx(file.Get(), &size) && size.QuadPart > LongestFile) {
        error = ERROR_FILE_TOO_LARGE;
        return ReadResult::Failed;
    }
    char block[16 * 1024];
    for (;;) {
        DWORD read = 0;
        if (!ReadFile(file.Get(), block, sizeof(block), &read, nullptr)) {
            error = GetLastError();
            return ReadResult::Failed;
        }
        if (read == 0)
            return ReadResult::Read;
        bytes.append(block, read);
    }
}

bool SettingsFile::Replace(const std::string& bytes, unsigned long& error) const
{
    const CString folder = m_path.Left(m_path.ReverseFind(L'\\'));
    DataFolder::Create(folder);
    OwnerAccess access(m_others);
    if (IsTrustedFolder(folder) && ReplaceOwn(m_path, bytes, access.Attributes()))
        return true;
    error = GetLastError();
    return false;
}

CString SettingsFile::KeepAsBad() const { return MoveAside(m_path); }

void SettingsFile::TakeBack(const CString& kept) const { MoveFileExW(kept, m_path, MOVEFILE_WRITE_THROUGH); }
