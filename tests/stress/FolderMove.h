// Moves folders so that Wine reports what happens in them afterwards under their new
// names, as Windows does. Wine's server keeps a record of each folder with the name it
// was made under; a moved folder goes on under the old one, and what is moved into it
// is reported where it is not.
#pragma once

#include "host/WineFolder.h"
#include "support/Handle.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

class FolderMove
{
public:
    // No other thread may change anything meanwhile. Another volume, too, but then nothing is moved.
    bool Move(const std::filesystem::path& from, const std::filesystem::path& to)
    {
        if (!MoveFileW(from.c_str(), to.c_str()))
            return false;
        // Events of the folders that the server has not yet read are lost once it has forgotten the folders.
        WaitUntilReported();
        Rename(to);
        return true;
    }

private:
    // A folder of this process alone. Changes come from the system below in their order, whatever folder they are in:
    // when its own has been reported, so have all that were before it.
    class Marker
    {
    public:
        Marker()
        {
            std::filesystem::create_directories(m_folder);
            m_directory.Reset(CreateFileW(m_folder.c_str(), FILE_LIST_DIRECTORY,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                          OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr));
            Arm();
        }
        ~Marker()
        {
            CancelIo(m_directory.Get());
            DWORD bytes = 0;
            GetOverlappedResult(m_directory.Get(), &m_io, &bytes, TRUE);
            m_directory.Reset();
            std::error_code ignored;
            std::filesystem::remove(m_folder / L"mark", ignored);
            std::filesystem::remove(m_folder, ignored);
        }

        void Wait()
        {
            const std::filesystem::path mark = m_folder / L"mark";
            if (!DeleteFileW(mark.c_str()))
                std::ofstream(mark).flush();
            if (WaitForSingleObject(m_reported.Get(), Longest) != WAIT_OBJECT_0)
                throw std::runtime_error("the system reports no changes");
            Arm();
        }

    private:
        static constexpr DWORD Longest = 60000; // milliseconds

        void Arm()
        {
            m_io = {};
            m_io.hEvent = m_reported.Get();
            ResetEvent(m_reported.Get());
            if (!ReadDirectoryChangesW(m_directory.Get(), m_buffer, sizeof m_buffer, FALSE,
                                       FILE_NOTIFY_CHANGE_FILE_NAME, nullptr, &m_io, nullptr))
                throw std::runtime_error("a folder cannot be watched");
        }

        const std::filesystem::path m_folder =
            std::filesystem::temp_directory_path() / (L"storm-marks-" + std::to_wstring(GetCurrentProcessId()));
        const KernelHandle m_reported{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
        FileHandle m_directory;
        OVERLAPPED m_io = {};
        alignas(8) char m_buffer[4096];
    };

    void WaitUntilReported()
    {
        if (!m_marker)
            m_marker = std::make_unique<Marker>();
        m_marker->Wait();
    }

    // Top-down: a folder's new record hangs below that of the folder which holds it.
    static void Rename(const std::filesystem::path& folder)
    {
        MakeWineForget(folder);
        WIN32_FIND_DATAW found;
        const FindHandle search(FindFirstFileW((folder / L"*").c_str(), &found));
        if (!search)
            return;
        do {
            const std::wstring name = found.cFileName;
            if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) && name != L"." && name != L"..")
                Rename(folder / name);
        } while (FindNextFileW(search.Get(), &found));
    }

    std::unique_ptr<Marker> m_marker;
};
