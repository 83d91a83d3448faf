// Files that another program makes below a watched root: how long after the last one was made until all are known.
//
// They come in portions, the next one when all so far are known: what the system gathers for its watches is lost
// without a word when it is too much, and this is about who watches.
#include "bench/Case.h"
#include "bench/DataOfItsOwn.h"
#include "bench/Result.h"
#include "bench/StormWatch.h"
#include "companions/settings/OrbSettings.h"
#include "mfc/CEvent.h"
#include "support/Handle.h"
#include "tests/orbwatcher4/WatcherAccess.h"
#include "tests/support/TestMachine.h"

#include <windows.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <limits>
#include <optional>
#include <stdexcept>

namespace
{

constexpr std::size_t files = 20'000;
constexpr std::size_t portion = 4'000;
constexpr std::size_t folders = 20;
constexpr int rounds = 3;
constexpr char drive = 's';
constexpr ULONGLONG patience = 5'000; // milliseconds without any more of the files

constexpr double never = std::numeric_limits<double>::max();

void Require(bool good, const char* what)
{
    if (!good)
        throw std::runtime_error(what);
}

// A watcher that selects the folder: what it has seen is pending.
class OurWatch final : public StormWatch
{
public:
    explicit OurWatch(const std::wstring& folder) : m_data(m_folder)
    {
        auto& settings = GetServiceRunSettings();
        settings.Load();
        settings.SetValue(FirstTimeRunTimeKey, static_cast<std::int32_t>(std::time(nullptr)));
        settings.Save();
        m_folder.WriteBytes(L"data.xml",
                            "<Data><Item path=\"" + Narrow(folder) + "\" type=\"1\" includeSub=\"1\"/></Data>");
        m_watcher.Init();
        m_watcher.SetDataXmlPath(m_folder.Path(L"data.xml"));
        m_watcher.StartWatch();
        Require(m_watcher.WaitUntilReady(60'000) && m_watcher.GetWatchedRoots().size() == 1,
                "the drive is not watched");
    }
    ~OurWatch() override { m_watcher.AbortWatching(); }

    std::size_t Seen() override { return static_cast<std::size_t>(m_watcher.GetTotalFilesInMem()); }
    bool HasSeen(const std::wstring& path) override
    {
        WatcherParts& state = WatcherAccess::Parts(m_watcher);
        return state.pending.Find(CString(std::wstring_view(path))) != nullptr;
    }

private:
    TempFolder m_folder;
    DataOfItsOwn m_data;
    COrbWatcher m_watcher{false};
};

// The program that makes the files, a portion at a time.
class Peer
{
public:
    explicit Peer(const std::wstring& folder)
        : m_name(L"orb-storm-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(GetTickCount64())),
          m_go(CreateEventW(nullptr, FALSE, FALSE, m_name.c_str())),
          m_mapping(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(LARGE_INTEGER),
                                       (m_name + L"-time").c_str())),
          m_last(static_cast<const LARGE_INTEGER*>(MapViewOfFile(m_mapping.Get(), FILE_MAP_READ, 0, 0, 0)))
    {
        wchar_t program[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, program, MAX_PATH);
        const std::filesystem::path beside = std::filesystem::path(program).parent_path() / L"storm_peer.exe";
        std::wstring line = L"\"" + beside.wstring() + L"\" \"" + folder + L"\" " + std::to_wstring(folders) + L" " +
                            std::to_wstring(files) + L" " + std::to_wstring(portion) + L" " + m_name;
        STARTUPINFOW start = {};
        start.cb = sizeof start;
        PROCESS_INFORMATION process = {};
        Require(m_last && CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start,
                                         &process),
                "the peer cannot be started");
        CloseHandle(process.hThread);
        m_process.Reset(process.hProcess);
    }
    ~Peer()
    {
        UnmapViewOfFile(m_last);
        TerminateProcess(m_process.Get(), 1);
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void MakeAPortion() { SetEvent(m_go.Get()); }
    // When the last file was made, by the performance counter. Waits for the peer's end.
    LONGLONG Ended()
    {
        DWORD code = 1;
        Require(WaitForSingleObject(m_process.Get(), 120'000) == WAIT_OBJECT_0 &&
                    GetExitCodeProcess(m_process.Get(), &code) && code == 0,
                "the peer has failed");
        return m_last->QuadPart;
    }

private:
    const std::wstring m_name;
    const KernelHandle m_go, m_mapping;
    const LARGE_INTEGER* const m_last;
    KernelHandle m_process;
};

LONGLONG Now()
{
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return now.QuadPart;
}

// When the watch knew so many, or nothing when no more come.
std::optional<LONGLONG> WaitFor(StormWatch& watch, std::size_t count)
{
    std::size_t seen = watch.Seen();
    ULONGLONG last = GetTickCount64();
    while (seen < count) {
        SwitchToThread();
        const std::size_t now = watch.Seen();
        if (now != seen)
            last = GetTickCount64();
        else if (GetTickCount64() - last > patience)
            return std::nullopt;
        seen = now;
    }
    return Now();
}

struct Contender {
    const char* name;
    std::unique_ptr<StormWatch> (*start)(const std::wstring& folder);
    double best = never;  // milliseconds, of the rounds in which nothing was lost
    double whole = never; // seconds, from the first file on
    std::size_t lost = 0;
};

// Wine reports changes in an existing folder only after the folder has been opened.
void OpenFolders(const std::wstring& folder)
{
    for (const auto& each : std::filesystem::recursive_directory_iterator(folder))
        static_cast<void>(each);
}

void Run(Contender& contender, const std::wstring& root, const std::wstring& folder)
{
    for (std::size_t i = 0; i < folders; ++i)
        std::filesystem::create_directories(folder + L"\\d" + std::to_wstring(i));
    const auto watch = contender.start(folder);
    OpenFolders(root + L"\\");
    Peer peer(folder);
    const LONGLONG began = Now();
    std::optional<LONGLONG> known;
    for (std::size_t made = portion; made <= files; made += portion) {
        peer.MakeAPortion();
        known = WaitFor(*watch, made);
    }
    const LONGLONG ended = peer.Ended();
    std::size_t lost = 0;
    for (std::size_t number = 0; number < files; ++number)
        lost += !watch->HasSeen(folder + L"\\d" + std::to_wstring(number % folders) + L"\\file " +
                                std::to_wstring(number) + L".txt");
    contender.lost += lost;
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    if (!known || lost > 0)
        return;
    contender.whole = std::min(contender.whole, double(*known - began) / double(frequency.QuadPart));
    contender.best = std::min(contender.best, std::max(0.0, 1e3 * double(*known - ended) / double(frequency.QuadPart)));
}

std::unique_ptr<StormWatch> WatchWithOurs(const std::wstring& folder) { return std::make_unique<OurWatch>(folder); }

class StormDrive
{
public:
    StormDrive() { Require(AttachDrive(drive, m_folder.Path()), "the drive cannot be attached"); }
    ~StormDrive() { DetachDrive(drive); }
    StormDrive(const StormDrive&) = delete;
    StormDrive& operator=(const StormDrive&) = delete;
    static constexpr const wchar_t* Root = L"S:";

private:
    TempFolder m_folder;
};

void PrintAgainst(const Contender& rival, const Contender& ours, const Contender& other)
{
    Print({"storm",
           ours.best,
           "ms",
           rival.name,
           rival.best,
           1.1,
           {{"files", files},
            {"rounds", rounds},
            {"seconds of the whole storm", ours.whole},
            {"seconds of it with the rival", rival.whole},
            {"lost by the rival in all rounds", static_cast<double>(rival.lost)},
            {std::string("lost by ") + other.name, static_cast<double>(other.lost)}}});
}

void Storm()
{
    const StormDrive attached;
    Contender contenders[] = {
        {"ours", WatchWithOurs}, {"a plain ReadDirectoryChangesW loop", WatchWithALoop}, {"libuv", WatchWithLibuv}};
    for (int round = 0; round < rounds; ++round)
        for (std::size_t i = 0; i < std::size(contenders); ++i) {
            const std::size_t turn = (i + static_cast<std::size_t>(round)) % std::size(contenders);
            const std::wstring folder =
                StormDrive::Root + (L"\\" + std::to_wstring(round) + L"-" + std::to_wstring(turn));
            Run(contenders[turn], StormDrive::Root, folder);
            std::filesystem::remove_all(folder);
        }
    const Contender& ours = contenders[0];
    Require(ours.lost == 0, "files were not seen");
    const Contender &loop = contenders[1], &libuv = contenders[2];
    Require(loop.best < never, "the plain loop lost files in every round");
    PrintAgainst(loop, ours, libuv);
    // A watch that never saw all of them has no time.
    if (libuv.best < never)
        PrintAgainst(libuv, ours, loop);
}

const Case storm("storm", Storm);

} // namespace
