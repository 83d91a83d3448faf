#include "support/LocalVolume.h"

#include "support/Handle.h"
#include "support/SystemPath.h"

#include <windows.h>
#include <winternl.h>

bool IsOnLocalVolume(const wchar_t* folder)
{
    constexpr ULONG remoteDevice = 0x10; // FILE_REMOTE_DEVICE
    const FileHandle handle(CreateFileW(SystemPath(folder), FILE_READ_ATTRIBUTES,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    IO_STATUS_BLOCK status = {};
    FILE_FS_DEVICE_INFORMATION device = {};
    return handle &&
           NtQueryVolumeInformationFile(handle.Get(), &status, &device, sizeof(device), FileFsDeviceInformation) >= 0 &&
           !(device.Characteristics & remoteDevice);
}
