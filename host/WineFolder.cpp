#include "host/WineFolder.h"

#include "support/Handle.h"
#include "support/SystemPath.h"

void MakeWineForget(const std::wstring& folder)
{
    const FileHandle directory(CreateFileW(SystemPath(folder.c_str()), FILE_LIST_DIRECTORY,
                                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                           OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr));
    if (!directory)
        return;
    const KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    OVERLAPPED overlapped = {};
    overlapped.hEvent = event.Get();
    alignas(8) char buffer[64];
    if (!ReadDirectoryChangesW(directory.Get(), buffer, sizeof buffer, FALSE, FILE_NOTIFY_CHANGE_FILE_NAME, nullptr,
                               &overlapped, nullptr))
        return;
    CancelIoEx(directory.Get(), &overlapped);
    DWORD bytes = 0;
    GetOverlappedResult(directory.Get(), &overlapped, &bytes, TRUE);
}
