#include "host/doctor/Probe.h"

#include "host/Console.h"
#include "support/Handle.h"

namespace
{

// Returns the folder above with a trailing backslash for a root; empty when there is none.
std::wstring Above(const std::wstring& folder)
{
    const std::size_t slash = folder.rfind(L'\\');
    if (slash == std::wstring::npos || slash + 1 >= folder.size())
        return L"";
    return folder.substr(0, slash == 2 ? 3 : slash);
}

// Gives a folder the times back that it had: a look must leave no trace.
class KeptTimes
{
public:
    explicit KeptTimes(const std::wstring& folder)
        : m_folder(CreateFileW(folder.c_str(), FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES,
                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                               FILE_FLAG_BACKUP_SEMANTICS, nullptr)),
          m_known(m_folder && GetFileTime(m_folder.Get(), nullptr, &m_accessed, &m_written))
    {
    }
    ~KeptTimes()
    {
        if (m_known)
            SetFileTime(m_folder.Get(), nullptr, &m_accessed, &m_written);
    }
    KeptTimes(const KeptTimes&) = delete;
    KeptTimes& operator=(const KeptTimes&) = delete;

private:
    const FileHandle m_folder;
    FILETIME m_accessed{};
    FILETIME m_written{};
    const bool m_known;
};

} // namespace

DWORD WhyNothingCanBeMade(const std::wstring& folder)
{
    std::wstring nearest = folder;
    while (!nearest.empty() && !FolderIsThere(nearest))
        nearest = Above(nearest);
    if (nearest.empty())
        return ERROR_PATH_NOT_FOUND;
    const std::wstring probe = nearest + (nearest.ends_with(L'\\') ? L"" : L"\\") + L"~orbwatch-doctor-" +
                               std::to_wstring(GetCurrentProcessId()) + L".tmp";
    const KeptTimes kept(nearest);
    const FileHandle file(CreateFileW(probe.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW,
                                      FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    DWORD written = 0;
    return file && WriteFile(file.Get(), "?", 1, &written, nullptr) ? ERROR_SUCCESS : GetLastError();
}

DWORD WhyNotWritable(const std::wstring& path)
{
    // Some systems open a file for writing although it is marked read-only.
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY))
        return ERROR_WRITE_PROTECT;
    constexpr DWORD forAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const FileHandle file(
        CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, forAll, nullptr, OPEN_EXISTING, 0, nullptr));
    return file ? ERROR_SUCCESS : GetLastError();
}
