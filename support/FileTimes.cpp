#include "support/FileTimes.h"

#include "support/Handle.h"
#include "support/SystemPath.h"

namespace
{

std::uint64_t Value(const FILETIME& time) { return time.dwLowDateTime | std::uint64_t(time.dwHighDateTime) << 32; }

} // namespace

bool GetFileTimes(const wchar_t* path, bool isDirectory, std::uint64_t* creationTime, std::uint64_t* modificationTime)
{
    const FileHandle file(CreateFileW(SystemPath(path), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, isDirectory ? FILE_FLAG_BACKUP_SEMANTICS : FILE_ATTRIBUTE_NORMAL,
                                      nullptr));
    BY_HANDLE_FILE_INFORMATION information;
    if (!file || !GetFileInformationByHandle(file.Get(), &information))
        return false;
    if (creationTime)
        *creationTime = Value(information.ftCreationTime);
    if (modificationTime)
        *modificationTime = Value(isDirectory ? information.ftCreationTime : information.ftLastWriteTime);
    return true;
}
