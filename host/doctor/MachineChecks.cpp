#include "host/Console.h"
#include "host/Wine.h"
#include "host/doctor/Checks.h"
#include "support/Handle.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

namespace
{

using State = Check::State;

constexpr std::uint64_t MiB = 1024 * 1024;
constexpr std::uint64_t LittleRoom = 1024 * MiB;
constexpr std::uint64_t NoRoom = 16 * MiB;
constexpr std::int64_t LeastEvents = 16384; // the default of the underlying system
constexpr std::int64_t LeastWatches = 8192; // used when the number of folders is not known
constexpr std::int64_t LeastOpenFiles = 1024;
constexpr DWORD NoticeLimit = 5000; // milliseconds

std::optional<std::int64_t> LimitOf(const wchar_t* name)
{
    std::ifstream file(std::filesystem::path(std::wstring(L"Z:\\proc\\sys\\fs\\inotify\\") + name));
    std::int64_t value = 0;
    return file >> value ? std::optional(value) : std::nullopt;
}

Check CheckLimit(const wchar_t* name, std::int64_t wanted, const std::wstring& why)
{
    const std::optional<std::int64_t> value = LimitOf(name);
    const std::wstring limit = L"fs.inotify." + std::wstring(name);
    if (!value)
        return {"limits", State::Warning, limit + L" cannot be read; is drive Z: the root of the system below?", L""};
    const std::wstring is = limit + L" is " + std::to_wstring(*value);
    if (*value >= wanted)
        return {"limits", State::Ok, is, L""};
    return {"limits", State::Warning,
            is + L", " + why + L": changes would be missed. Raise it, as root: sysctl " + limit + L"=" +
                std::to_wstring(wanted),
            L""};
}

// The process that serves all others holds the files that they open.
Check CheckOpenFiles()
{
    std::ifstream file(std::filesystem::path(L"Z:\\proc\\self\\limits"));
    const std::string title = "Max open files";
    for (std::string line; std::getline(file, line);)
        if (line.starts_with(title)) {
            const std::int64_t limit = std::strtoll(line.c_str() + title.size(), nullptr, 10); // "unlimited" is 0
            const bool few = limit != 0 && limit < LeastOpenFiles;
            return {"limits", few ? State::Warning : State::Ok,
                    L"so many files can be open: " + (limit == 0 ? L"any number" : std::to_wstring(limit)) +
                        (few ? L"; raise it with ulimit -n before Wine starts" : L""),
                    L""};
        }
    return {"limits", State::Warning, L"how many files can be open is not known", L""};
}

// Returns the nearest existing folder on the way up.
std::filesystem::path Existing(std::filesystem::path path)
{
    std::error_code ignored;
    while (path.has_relative_path() && !std::filesystem::is_directory(path, ignored))
        path = path.parent_path();
    return path;
}

// A read of changes that ends with its scope.
class ChangeRead
{
public:
    explicit ChangeRead(const std::wstring& folder)
        : m_folder(CreateFileW(folder.c_str(), FILE_LIST_DIRECTORY,
                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                               FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr)),
          m_done(CreateEventW(nullptr, TRUE, FALSE, nullptr))
    {
        m_io.hEvent = m_done.Get();
        m_begun = m_folder && ReadDirectoryChangesW(m_folder.Get(), m_buffer, sizeof m_buffer, FALSE,
                                                    FILE_NOTIFY_CHANGE_FILE_NAME, nullptr, &m_io, nullptr);
    }
    ~ChangeRead()
    {
        DWORD bytes = 0;
        if (m_begun && CancelIoEx(m_folder.Get(), &m_io))
            GetOverlappedResult(m_folder.Get(), &m_io, &bytes, TRUE);
    }
    ChangeRead(const ChangeRead&) = delete;
    ChangeRead& operator=(const ChangeRead&) = delete;

    bool Begun() const { return m_begun; }
    bool Came(DWORD limit) const { return WaitForSingleObject(m_done.Get(), limit) == WAIT_OBJECT_0; }

private:
    const FileHandle m_folder;
    const KernelHandle m_done;
    OVERLAPPED m_io{};
    alignas(8) char m_buffer[1024];
    bool m_begun = false;
};

} // namespace

Checks CheckLimits(std::int64_t folders)
{
    if (!RunsUnderWine())
        return {};
    const std::int64_t watches = folders > 0 ? folders + folders / 4 : LeastWatches;
    const std::wstring why = folders > 0
                                 ? L"and the index knows " + std::to_wstring(folders) + L" folders, each a watch"
                                 : L"and each folder takes a watch";
    return {CheckLimit(L"max_user_watches", watches, why),
            CheckLimit(L"max_queued_events", LeastEvents, L"and what comes at once waits there"), CheckOpenFiles()};
}

Checks CheckRoom(const std::wstring& path)
{
    const std::wstring folder = Existing(path).wstring();
    ULARGE_INTEGER room = {};
    if (!GetDiskFreeSpaceExW(folder.c_str(), &room, nullptr, nullptr))
        return {{"room", State::Warning, L"the free space cannot be asked: " + SystemText(GetLastError()), path}};
    const State state = room.QuadPart < NoRoom       ? State::Failed
                        : room.QuadPart < LittleRoom ? State::Warning
                                                     : State::Ok;
    return {{"room", state,
             std::to_wstring(room.QuadPart / MiB) + L" MiB are free on its drive" +
                 (state == State::Ok ? L"" : L"; make room"),
             path}};
}

Checks CheckNotifications(const std::wstring& scratch)
{
    const ChangeRead read(scratch);
    const FileHandle file(CreateFileW((scratch + L"\\probe").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                      FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    if (!read.Begun() || !file)
        return {{"notifications", State::Failed, L"cannot be tried in the folder for temporary files; is TEMP right?",
                 scratch}};
    if (!read.Came(NoticeLimit))
        return {{"notifications", State::Failed, L"the system does not tell of changes; see the limits, and the log",
                 scratch}};
    return {
        {"notifications", State::Ok, L"the system tells of changes (tried in a folder that is gone again)", scratch}};
}
