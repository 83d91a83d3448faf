// Makes random changes in folders: storm_changer SEED CHANGES FOLDER...
//
// The same seed makes the same attempts, whatever comes of them: other processes
// change the same folders, so that many fail. The first folder is the one that most
// happens in; things are moved between them.
#include <windows.h>

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
public:
    Changer(unsigned seed, std::vector<fs::path> folders) : m_random(seed), m_folders(std::move(folders)) {}

    void Change()
    {
        switch (Number(14)) {
        case 0:
        case 1:
        case 2:
            return Write(File(), std::ios::trunc);
        case 3:
        case 4:
            return Write(File(), std::ios::app);
        case 5:
            return Shorten(File());
        case 6:
            return Rename(File(), File());
        case 7:
            return Replace(File());
        case 8:
        case 9:
            DeleteFileW(File().c_str());
            return;
        case 10:
            return ChangeAttributes(File());
        case 11:
            return ChangeCase(File());
        case 12:
            return ChangeFolder();
        default:
            return MoveFolder();
        }
    }

private:
    unsigned Number(unsigned below) { return static_cast<unsigned>(m_random() % below); }
    std::wstring Name(const wchar_t* kind, unsigned of) { return kind + std::to_wstring(Number(of)); }

    // Few names, so that much happens to each.
    fs::path Folder()
    {
        fs::path path = m_folders[Number(4) == 0 ? Number(static_cast<unsigned>(m_folders.size())) : 0];
        for (unsigned depth = Number(4); depth > 0; --depth)
            path /= Name(L"d", 3);
        return path;
    }
    fs::path File() { return Folder() / Name(L"f", 6); }

    void Write(const fs::path& path, std::ios::openmode mode)
    {
        const std::string bytes(1 + Number(4000), static_cast<char>('a' + Number(26)));
        fs::create_directories(path.parent_path(), m_ignored);
        std::ofstream(path, std::ios::binary | mode) << bytes;
    }
    void Shorten(const fs::path& path)
    {
        const auto size = fs::file_size(path, m_ignored);
        if (!m_ignored)
            fs::resize_file(path, size / 2, m_ignored);
    }
    void Rename(const fs::path& from, const fs::path& to) { MoveFileW(from.c_str(), to.c_str()); }
    // As programs save: the new content under another name, which then takes the file's place.
    void Replace(const fs::path& path)
    {
        const fs::path draft = path.parent_path() / L"saving.tmp";
        Write(draft, std::ios::trunc);
        MoveFileExW(draft.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING);
    }
    void ChangeAttributes(const fs::path& path)
    {
        SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);
        SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    }
    void ChangeCase(const fs::path& path)
    {
        std::wstring name = path.filename();
        name[0] = name[0] == L'f' ? L'F' : L'f';
        MoveFileW(path.c_str(), (path.parent_path() / name).c_str());
    }
    void ChangeFolder()
    {
        const fs::path folder = Folder() / Name(L"d", 3);
        if (Number(3) == 0)
            RemoveTree(folder);
        else
            fs::create_directories(folder, m_ignored);
    }
    // What others put in meanwhile stays, and the folders above it.
    static void RemoveTree(const fs::path& folder)
    {
        WIN32_FIND_DATAW found;
        const HANDLE search = FindFirstFileW((folder / L"*").c_str(), &found);
        if (search == INVALID_HANDLE_VALUE)
            return;
        do {
            const std::wstring name = found.cFileName;
            if (name == L"." || name == L"..")
                continue;
            if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
                RemoveTree(folder / name);
            else
                DeleteFileW((folder / name).c_str());
        } while (FindNextFileW(search, &found));
        FindClose(search);
        RemoveDirectoryW(folder.c_str());
    }
    // A whole tree moves, within a folder, out of it or into it.
    void MoveFolder()
    {
        const fs::path from = Folder() / Name(L"d", 3), to = Folder() / Name(L"d", 3);
        fs::create_directories(to.parent_path(), m_ignored);
        MoveFileW(from.c_str(), to.c_str());
    }

    std::mt19937 m_random;
    const std::vector<fs::path> m_folders;
    std::error_code m_ignored;
};

} // namespace

int wmain(int count, wchar_t** arguments)
{
    if (count < 4)
        return 2;
    SetErrorMode(SEM_FAILCRITICALERRORS);
    Changer changer(static_cast<unsigned>(_wtoi(arguments[1])), {arguments + 3, arguments + count});
    for (int left = _wtoi(arguments[2]); left > 0; --left)
        changer.Change();
    return 0;
}
