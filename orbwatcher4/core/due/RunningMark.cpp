#include "orbwatcher4/core/due/RunningMark.h"

#include "companions/logging/OrbLogging.h"
#include "companions/settings/DataFolder.h"
#include "support/OwnerAccess.h"
#include "support/TrustedFile.h"
#include "support/WithoutThreadToken.h"

#include <atomic>

namespace
{

// The number of marks that this process has made. The number of the process may have been that of another one before.
std::atomic<unsigned> g_marks{0};

// A mark that cannot be opened for another reason may be that of a crash.
bool IsHeldOpen(const CString& path)
{
    return !FileHandle(CreateFileW(path, GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                   FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr)) &&
           GetLastError() == ERROR_SHARING_VIOLATION;
}

} // namespace

void RunningMark::Set()
{
    const WithoutThreadToken asProcess; // the marks are the product's
    const CSingleLock lock(m_section);
    if (m_file)
        return;
    const CString folder = DataFolder::Path();
    DataFolder::Create(folder);
    OwnerAccess access;
    do {
        m_path.Format(L"%s\\watcher_running_%u_%u.bin", folder.GetString(), GetCurrentProcessId(), ++g_marks);
        m_file = OpenTrusted(m_path, GENERIC_WRITE, 0, access.Attributes(), CREATE_NEW);
    } while (!m_file && GetLastError() == ERROR_FILE_EXISTS);
    if (!m_file)
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"A crash would go unnoticed, %s cannot be made: %s",
                          m_path.GetString(), OpeningFailure(GetLastError()).GetString());
}

std::vector<CString> RunningMark::FindLeft()
{
    const WithoutThreadToken asProcess;
    const CString folder = DataFolder::Path() + L"\\";
    std::vector<CString> left;
    WIN32_FIND_DATAW data;
    const FindHandle search(FindFirstFileW(folder + FilePattern, &data));
    for (bool more = static_cast<bool>(search); more; more = FindNextFileW(search.Get(), &data) != FALSE)
        if (const CString path = folder + data.cFileName; !IsHeldOpen(path))
            left.push_back(path);
    return left;
}

bool RunningMark::IsSet() const
{
    const CSingleLock lock(m_section);
    return static_cast<bool>(m_file);
}

void RunningMark::Leave()
{
    const CSingleLock lock(m_section);
    m_file.Reset();
}

void RunningMark::Forget(const std::vector<CString>& left)
{
    const WithoutThreadToken asProcess;
    for (const CString& mark : left)
        DeleteFileW(mark);
}

void RunningMark::Clear()
{
    const WithoutThreadToken asProcess;
    const CSingleLock lock(m_section);
    if (!m_file)
        return;
    m_file.Reset();
    DeleteFileW(m_path);
}
