#include "support/FileTimes.h"

#include "support/Handle.h"
#include "support/SystemPath.h"

#include <windows.h>
#include <winternl.h>

namespace
{

constexpr NTSTATUS OplockBreakInProgress = 0x00000108; // STATUS_OPLOCK_BREAK_IN_PROGRESS, a success
// The system adds this when it refuses because of a sharing mode that the break may change.
constexpr ULONG_PTR BreakUnderway = 9; // FILE_OPBATCH_BREAK_UNDERWAY

std::uint64_t Value(const FILETIME& time) { return time.dwLowDateTime | std::uint64_t(time.dwHighDateTime) << 32; }

class NtPath
{
public:
    explicit NtPath(const wchar_t* path) : m_made(RtlDosPathNameToNtPathName_U(path, &m_path, nullptr, nullptr)) {}
    ~NtPath()
    {
        if (m_made)
            RtlFreeUnicodeString(&m_path);
    }
    NtPath(const NtPath&) = delete;
    NtPath& operator=(const NtPath&) = delete;

    PUNICODE_STRING Get() { return m_made ? &m_path : nullptr; }

private:
    UNICODE_STRING m_path = {};
    const bool m_made;
};

// Opens the file with the system's own call: no other call can be told not to wait for an oplock.
FileHandle OpenWithoutWaiting(const wchar_t* path, bool isDirectory, bool& held)
{
    NtPath name(SystemPath(path));
    if (!name.Get())
        return FileHandle();
    OBJECT_ATTRIBUTES attributes = {};
    attributes.Length = sizeof(attributes);
    attributes.ObjectName = name.Get();
    attributes.Attributes = OBJ_CASE_INSENSITIVE;
    IO_STATUS_BLOCK status = {};
    HANDLE file = INVALID_HANDLE_VALUE;
    const NTSTATUS result = NtCreateFile(&file, GENERIC_READ | SYNCHRONIZE, &attributes, &status, nullptr,
                                         FILE_ATTRIBUTE_NORMAL, FILE_SHARE_READ | FILE_SHARE_WRITE, FILE_OPEN,
                                         FILE_SYNCHRONOUS_IO_NONALERT | FILE_COMPLETE_IF_OPLOCKED |
                                             (isDirectory ? FILE_OPEN_FOR_BACKUP_INTENT : FILE_NON_DIRECTORY_FILE),
                                         nullptr, 0);
    held = result == OplockBreakInProgress || (result < 0 && status.Information == BreakUnderway);
    return FileHandle(result >= 0 ? file : INVALID_HANDLE_VALUE);
}

} // namespace

FileTimesResult ReadFileTimes(const wchar_t* path, bool isDirectory, FileTimes& times)
{
    bool held = false;
    const FileHandle file = OpenWithoutWaiting(path, isDirectory, held);
    if (held)
        return FileTimesResult::Held;
    BY_HANDLE_FILE_INFORMATION information;
    if (!file || !GetFileInformationByHandle(file.Get(), &information))
        return FileTimesResult::Unreadable;
    times.creation = Value(information.ftCreationTime);
    times.modification = Value(isDirectory ? information.ftCreationTime : information.ftLastWriteTime);
    times.volumeSerial = information.dwVolumeSerialNumber;
    times.fileId = information.nFileIndexLow | std::uint64_t(information.nFileIndexHigh) << 32;
    return FileTimesResult::Read;
}

bool ReadModificationTime(const wchar_t* file, std::uint64_t& modificationTime)
{
    constexpr DWORD notTheFile = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExW(SystemPath(file), GetFileExInfoStandard, &data) || (data.dwFileAttributes & notTheFile))
        return false;
    modificationTime = Value(data.ftLastWriteTime);
    return true;
}

bool GetFileTimes(const wchar_t* path, bool isDirectory, std::uint64_t* creationTime, std::uint64_t* modificationTime)
{
    FileTimes times;
    if (ReadFileTimes(path, isDirectory, times) != FileTimesResult::Read)
        return false;
    if (creationTime)
        *creationTime = times.creation;
    if (modificationTime)
        *modificationTime = times.modification;
    return true;
}
