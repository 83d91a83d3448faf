#include "orbwatcher4/filter/ScanDisk.h"

#include "support/Handle.h"
#include "support/SystemPath.h"

#include <shlwapi.h>
#include <winioctl.h>

#include <algorithm>

namespace
{

constexpr DWORD ReparseSize = 16384; // the most that a reparse point may hold
constexpr DWORD ShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// For a path that ends in a backslash, the system may answer for the target of the link.
CString WithoutBackslash(const CString& path)
{
    const int last = path.GetLength() - 1;
    return last > 0 && path[last] == L'\\' && !PathIsRootW(path) ? path.Left(last) : path;
}

// Requests attributes only, so that neither another handle nor a refusal to list the folder prevents it.
FileHandle OpenFolder(const CString& path, DWORD flags)
{
    return FileHandle(CreateFileW(SystemPath(WithoutBackslash(path)), FILE_READ_ATTRIBUTES, ShareAll, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | flags, nullptr));
}

DWORD EndOfList(DWORD error) { return error == ERROR_NO_MORE_FILES || error == ERROR_FILE_NOT_FOUND ? 0 : error; }

} // namespace

DWORD ScanDisk::Attributes(const CString& path) { return GetFileAttributesW(SystemPath(WithoutBackslash(path))); }

std::optional<unsigned __int64> ScanDisk::FileSize(const CString& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    if (!GetFileAttributesExW(SystemPath(path), GetFileExInfoStandard, &data)) {
        const DWORD error = GetLastError();
        const bool gone = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME;
        return gone ? std::nullopt : std::optional<unsigned __int64>(0);
    }
    if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        return std::nullopt;
    return static_cast<unsigned __int64>(data.nFileSizeHigh) << 32 | data.nFileSizeLow;
}

DWORD ScanDisk::List(const CString& folder, const wchar_t* pattern, const Take& take)
{
    WIN32_FIND_DATAW data;
    // Short names are not needed, and much is read at once.
    const FindHandle search(FindFirstFileExW(SystemPath(folder) + pattern, FindExInfoBasic, &data,
                                             FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH));
    if (!search)
        return EndOfList(GetLastError());
    do {
        if (!take(data))
            return 0;
    } while (FindNextFileW(search.Get(), &data));
    return EndOfList(GetLastError());
}

DWORD ScanDisk::ReadReparse(const CString& path, std::vector<std::byte>& data)
{
    const FileHandle link = OpenFolder(path, FILE_FLAG_OPEN_REPARSE_POINT);
    if (!link)
        return GetLastError();
    data.resize(ReparseSize);
    DWORD size = 0;
    if (!DeviceIoControl(link.Get(), FSCTL_GET_REPARSE_POINT, nullptr, 0, data.data(), ReparseSize, &size, nullptr))
        return GetLastError();
    data.resize(std::min(size, ReparseSize));
    return 0;
}

CString ScanDisk::Follow(const CString& path)
{
    const FileHandle target = OpenFolder(path, 0);
    if (!target)
        return {};
    const DWORD capacity = GetFinalPathNameByHandleW(target.Get(), nullptr, 0, FILE_NAME_NORMALIZED);
    CString real;
    wchar_t* buffer = real.GetBuffer(static_cast<int>(capacity));
    const DWORD length = GetFinalPathNameByHandleW(target.Get(), buffer, capacity, FILE_NAME_NORMALIZED);
    real.ReleaseBuffer(static_cast<int>(length < capacity ? length : 0));
    return PlainPath(real);
}

CString ScanDisk::MountedAt(const CString& volume)
{
    DWORD size = 0;
    GetVolumePathNamesForVolumeNameW(volume, nullptr, 0, &size);
    std::vector<wchar_t> names(size + 2); // each ends in a zero, the last in two
    if (!GetVolumePathNamesForVolumeNameW(volume, names.data(), size, &size))
        return {};
    CString shortest;
    for (const wchar_t* name = names.data(); *name; name += std::wcslen(name) + 1)
        if (shortest.IsEmpty() || std::wcslen(name) < static_cast<std::size_t>(shortest.GetLength()))
            shortest = name;
    return shortest;
}
