#include "host/OwnOutput.h"

#include "host/Console.h"
#include "support/Handle.h"
#include "support/SystemPath.h"

#include <winternl.h>

namespace
{

std::wstring PathOf(HANDLE file)
{
    wchar_t path[1024] = {};
    const DWORD length = GetFinalPathNameByHandleW(file, path, 1024, FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
    return length < 1024 ? std::wstring(path, length) : std::wstring();
}

// Returns the number of the file on its volume; 0 when it is not known. Wine knows only this of a file that another
// system's shell has opened.
std::uint64_t NumberOf(HANDLE file)
{
    using Query = NTSTATUS(NTAPI*)(HANDLE, IO_STATUS_BLOCK*, void*, ULONG, ULONG);
    constexpr ULONG internalInformation = 6;
    const auto query = reinterpret_cast<Query>(
        // NOLINTNEXTLINE(bugprone-casting-through-void): what the system gives is not of the type that it says
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQueryInformationFile")));
    IO_STATUS_BLOCK status = {};
    std::uint64_t number = 0;
    return query && query(file, &status, &number, sizeof number, internalInformation) >= 0 ? number : 0;
}

// Files of two volumes may have one number. They do not have the same size and the same time to 100 ns as well.
bool AreAlike(HANDLE left, HANDLE right)
{
    LARGE_INTEGER leftSize, rightSize;
    FILETIME leftTime, rightTime;
    return GetFileSizeEx(left, &leftSize) && GetFileSizeEx(right, &rightSize) &&
           leftSize.QuadPart == rightSize.QuadPart && GetFileTime(left, nullptr, nullptr, &leftTime) &&
           GetFileTime(right, nullptr, nullptr, &rightTime) && CompareFileTime(&leftTime, &rightTime) == 0;
}

} // namespace

OwnOutput::OwnOutput()
{
    for (const HANDLE handle : StandardStreams())
        if (GetFileType(handle) == FILE_TYPE_DISK)
            m_streams.push_back({handle, PathOf(handle), NumberOf(handle)});
}

std::vector<std::wstring> OwnOutput::Paths() const
{
    std::vector<std::wstring> paths;
    for (const Stream& stream : m_streams)
        if (!stream.path.empty())
            paths.push_back(stream.path);
    return paths;
}

bool OwnOutput::Contains(const std::wstring& path, const FileIdentity& identity) const
{
    for (const Stream& stream : m_streams) {
        if (stream.file == 0 || stream.file != identity.fileId)
            continue;
        constexpr DWORD forAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
        const FileHandle file(
            CreateFileW(SystemPath(path.c_str()), FILE_READ_ATTRIBUTES, forAll, nullptr, OPEN_EXISTING, 0, nullptr));
        if (file && AreAlike(stream.handle, file.Get()))
            return true;
    }
    return false;
}
