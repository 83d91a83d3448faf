#include "support/SameFile.h"

#include "support/CaseFold.h"
#include "support/Handle.h"
#include "support/SystemPath.h"

#include <windows.h>

#include <optional>

namespace
{

struct Identity {
    DWORD volume;
    DWORD high;
    DWORD low;
    bool operator==(const Identity&) const = default;
};

std::optional<Identity> IdentityOf(const CString& path)
{
    constexpr DWORD forAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const FileHandle file(CreateFileW(SystemPath(path), FILE_READ_ATTRIBUTES, forAll, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    BY_HANDLE_FILE_INFORMATION information;
    if (!file || !GetFileInformationByHandle(file.Get(), &information))
        return std::nullopt;
    return Identity{information.dwVolumeSerialNumber, information.nFileIndexHigh, information.nFileIndexLow};
}

} // namespace

CString AbsolutePath(const CString& path)
{
    CString full;
    const DWORD size = path.IsEmpty() ? 0 : GetFullPathNameW(path, 0, nullptr, nullptr);
    if (size == 0)
        return path;
    const DWORD length = GetFullPathNameW(path, size, full.GetBuffer(static_cast<int>(size)), nullptr);
    full.ReleaseBuffer(static_cast<int>(length < size ? length : 0));
    return full.IsEmpty() ? path : full;
}

bool IsSameFile(const CString& first, const CString& second)
{
    if (first.IsEmpty() || second.IsEmpty())
        return false;
    const CString one = AbsolutePath(first), other = AbsolutePath(second);
    if (EqualNoCase(one.View(), other.View()))
        return true;
    const std::optional<Identity> identity = IdentityOf(one);
    return identity && identity == IdentityOf(other);
}
