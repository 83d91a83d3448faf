#include "support/TrustedFile.h"

#include "support/CaseFold.h"
#include "support/HandleOwner.h"

#include <string>
#include <string_view>

namespace
{

constexpr DWORD ForAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

bool Refuse(DWORD error)
{
    SetLastError(error);
    return false;
}

CString FolderOf(const CString& path) { return path.Left(path.ReverseFind(L'\\')); }

// Returns the last name of the path under which the system has opened the file; empty when the system does not tell.
std::wstring OpenedName(HANDLE file)
{
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetFinalPathNameByHandleW(file, path.data(), static_cast<DWORD>(path.size()), 0);
        if (length == 0)
            return {};
        const bool fits = length < path.size();
        path.resize(length);
        if (fits)
            return path.substr(path.rfind(L'\\') + 1);
    }
}

bool IsLink(HANDLE file, const CString& path, const BY_HANDLE_FILE_INFORMATION& information)
{
    if (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT)
        return true;
    // Wine follows links although it is told not to. The names of the product's files have no short form.
    const std::wstring name = OpenedName(file);
    const std::wstring_view whole = path.View();
    return !name.empty() && !EqualNoCase(name, whole.substr(whole.rfind(L'\\') + 1));
}

bool IsTrusted(HANDLE file, const CString& path)
{
    BY_HANDLE_FILE_INFORMATION information;
    if (!GetFileInformationByHandle(file, &information))
        return false;
    if (IsLink(file, path, information))
        return Refuse(LinkMet);
    if (information.nNumberOfLinks > 1)
        return Refuse(ERROR_TOO_MANY_LINKS);
    return IsOwnedByTrusted(file);
}

FileHandle Open(const CString& path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* attributes, DWORD disposition)
{
    return FileHandle(CreateFileW(path, access | READ_CONTROL, share, attributes, disposition,
                                  FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
}

FileHandle OpenExisting(const CString& path, DWORD access, DWORD share)
{
    FileHandle file = Open(path, access, share, nullptr, OPEN_EXISTING);
    if (file && !IsTrusted(file.Get(), path))
        file.Reset();
    return file;
}

} // namespace

FileHandle OpenTrusted(const CString& path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* attributes,
                       DWORD disposition)
{
    if (!IsTrustedFolder(FolderOf(path)))
        return {};
    // Opening and creating are two calls: a single call would make the file that a link without a target names.
    for (int attempt = 0;; ++attempt) {
        if (disposition != CREATE_NEW) {
            FileHandle file = OpenExisting(path, access, share);
            if (file || disposition == OPEN_EXISTING || GetLastError() != ERROR_FILE_NOT_FOUND)
                return file;
        }
        FileHandle file = Open(path, access, share, attributes, CREATE_NEW);
        // Another process may have made the file in between.
        if (file || disposition == CREATE_NEW || GetLastError() != ERROR_FILE_EXISTS)
            return file;
        if (attempt == 1) {
            SetLastError(LinkMet); // it exists and cannot be found: a link without a target
            return {};
        }
    }
}

bool IsTrustedFolder(const CString& folder)
{
    const CString path = folder.GetLength() == 2 ? folder + L'\\' : folder; // "C:" alone is not the root
    const FileHandle opened(CreateFileW(path, FILE_READ_ATTRIBUTES | READ_CONTROL, ForAll, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    BY_HANDLE_FILE_INFORMATION information;
    if (!opened || !GetFileInformationByHandle(opened.Get(), &information))
        return false;
    if (!(information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
        return Refuse(ERROR_DIRECTORY);
    // Wine follows a link to a folder although it is told not to, and shows the link only when asked by name.
    if ((information.dwFileAttributes | GetFileAttributesW(path)) & FILE_ATTRIBUTE_REPARSE_POINT)
        return Refuse(LinkMet);
    return IsOwnedByTrusted(opened.Get());
}

bool IsDistrust(DWORD error)
{
    return error == LinkMet || error == ERROR_TOO_MANY_LINKS || error == ERROR_INVALID_OWNER;
}

CString OpeningFailure(DWORD error)
{
    switch (error) {
    case LinkMet:
        return L"it is a link, by which another account may lead elsewhere; remove it";
    case ERROR_TOO_MANY_LINKS:
        return L"the file has a second name elsewhere (a hard link), by which others may reach it; remove it";
    case ERROR_INVALID_OWNER:
        return L"it belongs to another account, which may have planted it; remove it, or make the administrators its "
               L"owner (icacls PATH /setowner Administrators)";
    case ERROR_FILE_TOO_LARGE:
        return L"it is larger than a file of its kind may be; move it away";
    default:
        CString text;
        text.Format(L"error %u", error);
        return text;
    }
}
