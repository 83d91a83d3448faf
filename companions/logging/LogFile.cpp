#include "companions/logging/LogFile.h"

#include "companions/settings/DataFolder.h"
#include "support/OwnerAccess.h"
#include "support/TrustedFile.h"
#include "support/WithoutThreadToken.h"

#include <spdlog/pattern_formatter.h>

#include <algorithm>
#include <memory>

LogFile::LogFile()
{
    set_formatter(std::make_unique<spdlog::pattern_formatter>("%Y-%m-%dT%H:%M:%S.%eZ [%P:%t] [%l] %v",
                                                              spdlog::pattern_time_type::utc, "\r\n"));
}

void LogFile::SetFolder(const CString& folder)
{
    Close();
    m_folder = folder;
}

void LogFile::SetLimits(std::uint64_t bytes, int oldFiles)
{
    m_limit = bytes;
    m_oldFiles = oldFiles;
    m_unasked = 0;
}

void LogFile::Close()
{
    m_file.Reset();
    m_size = 0;
    m_unasked = 0; // the system is asked for the size of the next file
}

CString LogFile::NumberedPath(int number) const
{
    CString path;
    if (number == 0)
        path.Format(L"%s\\OrbWatcher.log", m_folder.GetString());
    else
        path.Format(L"%s\\OrbWatcher.%d.log", m_folder.GetString(), number);
    return path;
}

void LogFile::sink_it_(const spdlog::details::log_msg& message)
{
    spdlog::memory_buf_t line;
    formatter_->format(message, line);
    m_error = ERROR_SUCCESS;
    MakeRoom(line.size());
    DWORD written = 0;
    if (!m_file || !WriteFile(m_file.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr)) {
        m_error = GetLastError();
        Close();
    }
}

bool LogFile::Open()
{
    const WithoutThreadToken asProcess;
    DataFolder::Create(m_folder);
    OwnerAccess access;
    m_file = OpenTrusted(Path(), FILE_APPEND_DATA | SYNCHRONIZE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                         access.Attributes(), OPEN_ALWAYS);
    return static_cast<bool>(m_file);
}

std::uint64_t LogFile::Size() const
{
    LARGE_INTEGER size = {};
    return m_file && GetFileSizeEx(m_file.Get(), &size) ? static_cast<std::uint64_t>(size.QuadPart) : 0;
}

// Asks the system for the size now and then, because other processes write to the file, too. A file that another
// process has renamed is full: so this process notices the new one.
bool LogFile::HasRoom(std::uint64_t coming)
{
    constexpr std::uint64_t partOfLimit = 16;
    if (coming > m_unasked || m_size + coming > m_limit) {
        m_size = Size();
        m_unasked = m_limit / partOfLimit;
    }
    const bool hasRoom = m_size == 0 || m_size + coming <= m_limit;
    m_unasked -= std::min(m_unasked, coming);
    m_size += coming;
    return hasRoom;
}

void LogFile::MakeRoom(std::uint64_t coming)
{
    if (!m_file && !Open())
        return;
    if (HasRoom(coming))
        return;
    Close();
    if (!Open() || HasRoom(coming))
        return;
    Close();
    Rename();
    Open();
}

// A file that cannot be renamed continues to grow: that is better than losing lines.
void LogFile::Rename()
{
    const WithoutThreadToken asProcess;
    for (int number = m_oldFiles; number > 0; --number)
        MoveFileExW(NumberedPath(number - 1), NumberedPath(number), MOVEFILE_REPLACE_EXISTING);
    if (m_oldFiles == 0)
        DeleteFileW(Path());
}
