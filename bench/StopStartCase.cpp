// A million pending files over a restart: the stop dumps them, and the start replays the dump. Beside a buffered file
// of their paths, and one question to the disk about each.
//
// Two hundred thousand files stand for a million, because five drives show the same folder. The case does not show the
// load of the selection and of the index at the start.
#include "bench/Case.h"
#include "bench/DataOfItsOwn.h"
#include "bench/FileTree.h"
#include "bench/PendingChanges.h"
#include "bench/Result.h"
#include "bench/Stopwatch.h"
#include "tests/support/TestMachine.h"

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

constexpr int filesOfTheTree = 200'000;
constexpr int drives = 5;
constexpr int pending = drives * filesOfTheTree;
constexpr int rounds = 1; // each takes half a minute

void Require(bool good, const char* what)
{
    if (!good)
        throw std::runtime_error(what);
}

constexpr char Letter(int number) { return static_cast<char>('i' + number); }

// Drives that all show the tree, as long as it lives.
class DrivesOfOneTree
{
public:
    explicit DrivesOfOneTree(const FileTree& tree)
    {
        for (int i = 0; i < drives; ++i)
            Require(AttachDrive(Letter(i), tree.root), "a drive cannot be attached");
    }
    ~DrivesOfOneTree()
    {
        for (int i = 0; i < drives; ++i)
            DetachDrive(Letter(i));
    }
    DrivesOfOneTree(const DrivesOfOneTree&) = delete;
    DrivesOfOneTree& operator=(const DrivesOfOneTree&) = delete;

    std::string Selection() const
    {
        std::string items = "<Data>";
        for (int i = 0; i < drives; ++i)
            items += std::string("<Item path=\"") + Letter(i) + ":\\\" type=\"1\" includeSub=\"1\"/>";
        return items + "</Data>";
    }
};

std::vector<CString> PathsOf(const FileTree& tree)
{
    const std::vector<CString> files = tree.Files();
    std::vector<CString> paths;
    paths.reserve(pending);
    for (int i = 0; i < drives; ++i)
        for (const CString& file : files)
            paths.push_back(CString(static_cast<wchar_t>(Letter(i))) + L":" + file.Mid(tree.root.GetLength()));
    return paths;
}

void Select(COrbWatcher& watcher, const CString& selection)
{
    watcher.Init();
    watcher.SetDataXmlPath(selection);
    Require(watcher.LoadSelection(), "the selection cannot be loaded");
}

void WritePaths(const std::vector<CString>& paths, const std::wstring& name)
{
    std::ofstream file(std::filesystem::path(name), std::ios::binary);
    for (const CString& path : paths) {
        file.write(reinterpret_cast<const char*>(path.GetString()), path.GetLength() * sizeof(wchar_t));
        file.write(reinterpret_cast<const char*>(L"\n"), sizeof(wchar_t));
    }
    Require(!file.flush().fail(), "the plain file cannot be written");
}

// Asks for each path of the file.
void ReadPaths(const std::wstring& name)
{
    std::ifstream file(std::filesystem::path(name), std::ios::binary);
    int there = 0;
    std::wstring path;
    for (wchar_t unit; file.read(reinterpret_cast<char*>(&unit), sizeof unit);)
        if (unit != L'\n') {
            path += unit;
        } else {
            WIN32_FILE_ATTRIBUTE_DATA data;
            there += GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) != FALSE;
            path.clear();
        }
    Require(there == pending, "not all files are there");
}

void StopAndStart()
{
    const FileTree tree = TreeOf(filesOfTheTree);
    const TempFolder folder;
    const DataOfItsOwn data(folder);
    g_OrbLog.SetLevel(LogLevel::Error);
    const DrivesOfOneTree attached(tree);
    folder.WriteBytes(L"data.xml", attached.Selection());
    const std::vector<CString> paths = PathsOf(tree);
    const std::wstring plain = folder.Path(L"plain.bin").GetString();
    COrbWatcher watcher(false);
    Stopwatch stop, start, write, read;
    for (int round = 0; round < rounds; ++round) {
        Select(watcher, folder.Path(L"data.xml"));
        for (const CString& path : paths)
            PutPending(watcher, path, NotificationKind::Modified);
        stop.Take([&] { watcher.DeInit(); });
        Require(watcher.IsPendingKept() && watcher.GetTotalFilesInMem() == 0, "not all was dumped");
        Select(watcher, folder.Path(L"data.xml"));
        start.Take([&] { watcher.Resume(); });
        Require(watcher.GetTotalFilesInMem() == pending, "not all was replayed");
        watcher.ClearNotifications();
        write.Take([&] { WritePaths(paths, plain); });
        read.Take([&] { ReadPaths(plain); });
    }
    const Sizes sizes = {{"files", pending}};
    Print({"stop", stop.Best(), "ms", "a buffered file of the paths", write.Best(), 1.5, sizes});
    Print({"start", start.Best(), "ms", "the file, and one question about each path", read.Best(), 1.5, sizes});
    Print({"stop-start", stop.Best() + start.Best(), "ms", "both", write.Best() + read.Best(), 1.5, sizes});
}

const Case stopStart("stop-start", StopAndStart);

} // namespace
