// Makes random changes in folders:
//   storm_changer TURNS SEED CHANGES COUNT FOLDER FOLDER...
//
// The same seed makes the same attempts, whatever comes of them: other processes
// change the same folders, so that many fail. The first folder is the one that most
// happens in; things are moved between them, also between drives. The number of those
// that had an effect is written into the file COUNT. TURNS is what the processes of
// the storm share.
#include "tests/stress/FolderMove.h"
#include "tests/stress/Turns.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <system_error>
#include <vector>

namespace
{

namespace fs = std::filesystem;

class Changer
{
    static constexpr DWORD HeldFor = 20; // milliseconds

public:
    Changer(const std::wstring& turns, unsigned seed, std::vector<fs::path> folders)
        : m_turns(turns),
          m_random(seed),
          m_folders(std::move(folders))
    {
    }

    void Change()
    {
        // Drawn before the turn: the attempts do not depend on the others.
        const unsigned kind = Number(16);
        if (kind == 14)
            return Count(MoveSomeFolder());
        const fs::path path = kind == 12 || kind == 13 ? Folder() / Name(L"d", 3) : File(), other = File();
        const std::string bytes(1 + Number(4000), static_cast<char>('a' + Number(26)));
        const Turns::Share share(m_turns);
        Count(ChangeOne(kind, path, other, bytes));
    }
    unsigned Counted() const { return m_count; }

private:
    bool ChangeOne(unsigned kind, const fs::path& path, const fs::path& other, const std::string& bytes)
    {
        switch (kind) {
        case 0:
        case 1:
        case 2:
            return Write(path, bytes, std::ios::trunc);
        case 3:
        case 4:
            return Write(path, bytes, std::ios::app);
        case 5:
            return Shorten(path);
        case 6:
        case 7:
            return MoveFileExW(path.c_str(), other.c_str(), MOVEFILE_COPY_ALLOWED);
        case 8:
            return Replace(path, bytes);
        case 9:
            return DeleteFileW(path.c_str());
        case 10:
            return ChangeAttributes(path);
        case 11:
            return ChangeCase(path);
        case 12:
            return fs::create_directories(path, m_ignored);
        case 13:
            return RemoveTree(path);
        default:
            return AppendAlone(path, bytes);
        }
    }

    unsigned Number(unsigned below) { return static_cast<unsigned>(m_random() % below); }
    std::wstring Name(const wchar_t* kind, unsigned of) { return kind + std::to_wstring(Number(of)); }
    void Count(bool changed) { m_count += changed ? 1 : 0; }

    // Few names, so that much happens to each.
    fs::path Folder()
    {
        fs::path path = m_folders[Number(3) == 0 ? Number(static_cast<unsigned>(m_folders.size())) : 0];
        for (unsigned depth = Number(4); depth > 0; --depth)
            path /= Name(L"d", 3);
        return path;
    }
    // Some with an ending that selects them where nothing else does.
    fs::path File()
    {
        const unsigned number = Number(6);
        return Folder() / (L"f" + std::to_wstring(number) + (number < 4 ? L"" : L".doc"));
    }

    bool Write(const fs::path& path, const std::string& bytes, std::ios::openmode mode)
    {
        fs::create_directories(path.parent_path(), m_ignored);
        std::ofstream file(path, std::ios::binary | mode);
        file << bytes;
        return static_cast<bool>(file.flush());
    }
    bool Shorten(const fs::path& path)
    {
        const auto size = fs::file_size(path, m_ignored);
        if (m_ignored)
            return false;
        fs::resize_file(path, size / 2, m_ignored);
        return !m_ignored;
    }
    // Keeps the file from all readers for a while.
    static bool AppendAlone(const fs::path& path, const std::string& bytes)
    {
        const FileHandle file(CreateFileW(path.c_str(), FILE_APPEND_DATA | SYNCHRONIZE, 0, nullptr, OPEN_EXISTING,
                                          FILE_ATTRIBUTE_NORMAL, nullptr));
        DWORD written = 0;
        const bool appended =
            file && WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
        if (appended)
            Sleep(HeldFor);
        return appended;
    }
    // As programs save: the new content under another name, which then takes the file's place.
    bool Replace(const fs::path& path, const std::string& bytes)
    {
        const fs::path draft = path.parent_path() / L"saving.tmp";
        return Write(draft, bytes, std::ios::trunc) &&
               MoveFileExW(draft.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING);
    }
    bool ChangeAttributes(const fs::path& path)
    {
        return SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY) &&
               SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    }
    bool ChangeCase(const fs::path& path)
    {
        std::wstring name = path.filename();
        name[0] = name[0] == L'f' ? L'F' : L'f';
        return MoveFileW(path.c_str(), (path.parent_path() / name).c_str());
    }
    // Files that others put in meanwhile stay, with the folders above them.
    static bool RemoveTree(const fs::path& folder)
    {
        WIN32_FIND_DATAW found;
        const FindHandle search(FindFirstFileW((folder / L"*").c_str(), &found));
        if (!search)
            return false;
        do {
            const std::wstring name = found.cFileName;
            if (name == L"." || name == L"..")
                continue;
            if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
                RemoveTree(folder / name);
            else
                DeleteFileW((folder / name).c_str());
        } while (FindNextFileW(search.Get(), &found));
        return RemoveDirectoryW(folder.c_str());
    }
    // A whole tree moves, within a folder, out of it or into it.
    bool MoveSomeFolder()
    {
        const fs::path from = Folder() / Name(L"d", 3), to = Folder() / Name(L"d", 3);
        const Turns::Whole turn(m_turns);
        fs::create_directories(to.parent_path(), m_ignored);
        return m_move.Move(from, to);
    }

    const Turns m_turns;
    std::mt19937 m_random;
    const std::vector<fs::path> m_folders;
    FolderMove m_move;
    std::error_code m_ignored;
    unsigned m_count = 0;
};

} // namespace

int wmain(int count, wchar_t** arguments)
try {
    if (count < 6)
        return 2;
    SetErrorMode(SEM_FAILCRITICALERRORS);
    Changer changer(arguments[1], static_cast<unsigned>(_wtoi(arguments[2])), {arguments + 5, arguments + count});
    for (int left = _wtoi(arguments[3]); left > 0; --left)
        changer.Change();
    std::ofstream(fs::path(arguments[4])) << changer.Counted();
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "storm_changer: %s\n", error.what());
    return 1;
}
