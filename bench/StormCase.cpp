// Files that another program makes below a watched root at a steady pace, for ten seconds. A file's time runs from just
// before the call that makes it until the watch knows the file; for ours, until its change is pending. A file that a
// watch never knows has an endless time.
//
// All contenders read with a buffer of our size, except libuv, which cannot be told to. The same loop asks all of them
// how many files they know.
//
// The case does not show Windows: below Wine the kernel's queue of changes and Wine's server take most of the time. It
// does not show how many changes a second can be followed either, because the pace is fixed.
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
#include <array>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <limits>
#include <optional>
#include <stdexcept>
#include <vector>

namespace
{

constexpr std::size_t filesASecond = 1'000;
constexpr std::size_t seconds = 10;
constexpr std::size_t files = filesASecond * seconds;
constexpr std::size_t folders = 20;
constexpr int rounds = 2;
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

    std::size_t Known() override { return static_cast<std::size_t>(m_watcher.GetTotalFilesInMem()); }
    std::vector<std::wstring> InOrder() override
    {
        std::vector<std::wstring> paths;
        for (const NotificationStore::Entry& entry : WatcherAccess::Parts(m_watcher).pending.Entries())
            paths.emplace_back(entry.path.View());
        return paths;
    }

private:
    TempFolder m_folder;
    DataOfItsOwn m_data;
    COrbWatcher m_watcher{false};
};

// The times of one file, by the performance counter.
struct Made {
    LONGLONG before, after;
};

// The program that makes the files.
class Peer
{
public:
    explicit Peer(const std::wstring& folder)
        : m_name(L"orb-storm-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(GetTickCount64())),
          m_go(CreateEventW(nullptr, FALSE, FALSE, m_name.c_str())),
          m_mapping(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, files * sizeof(Made),
                                       (m_name + L"-times").c_str())),
          m_times(static_cast<const Made*>(MapViewOfFile(m_mapping.Get(), FILE_MAP_READ, 0, 0, 0)))
    {
        wchar_t program[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, program, MAX_PATH);
        const std::filesystem::path beside = std::filesystem::path(program).parent_path() / L"storm_peer.exe";
        std::wstring line = L"\"" + beside.wstring() + L"\" \"" + folder + L"\" " + std::to_wstring(folders) + L" " +
                            std::to_wstring(files) + L" " + std::to_wstring(filesASecond) + L" " + m_name;
        STARTUPINFOW start = {};
        start.cb = sizeof start;
        PROCESS_INFORMATION process = {};
        Require(m_times && CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start,
                                          &process),
                "the peer cannot be started");
        CloseHandle(process.hThread);
        m_process.Reset(process.hProcess);
    }
    ~Peer()
    {
        UnmapViewOfFile(m_times);
        TerminateProcess(m_process.Get(), 1);
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void Begin() { SetEvent(m_go.Get()); }
    // Waits for the peer's end. The times are valid as long as the object.
    const Made* Times()
    {
        DWORD code = 1;
        Require(WaitForSingleObject(m_process.Get(), 120'000) == WAIT_OBJECT_0 &&
                    GetExitCodeProcess(m_process.Get(), &code) && code == 0,
                "the peer has failed");
        return m_times;
    }

private:
    const std::wstring m_name;
    const KernelHandle m_go, m_mapping;
    const Made* const m_times;
    KernelHandle m_process;
};

LONGLONG Now()
{
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return now.QuadPart;
}

double Milliseconds(LONGLONG ticks)
{
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    return 1e3 * double(ticks) / double(frequency.QuadPart);
}

// Returns the time at which each path became known, in their order; ends when all have come, or no more come.
std::vector<LONGLONG> TimesKnown(StormWatch& watch)
{
    std::vector<LONGLONG> times;
    times.reserve(files);
    for (ULONGLONG last = GetTickCount64(); times.size() < files && GetTickCount64() - last <= patience;) {
        const std::size_t known = watch.Known();
        if (known == times.size()) {
            SwitchToThread();
            continue;
        }
        times.resize(known, Now());
        last = GetTickCount64();
    }
    return times;
}

// Returns the number that the path of a file of the peer tells; nothing for any other path.
std::optional<std::size_t> NumberOf(const std::wstring& path)
{
    const std::wstring_view before = L"\\file ";
    const std::size_t at = path.rfind(before);
    return at == path.npos ? std::nullopt : std::optional(std::stoul(path.substr(at + before.size())));
}

// Milliseconds; of all files in an ascending order.
using Latencies = std::vector<double>;

Latencies LatenciesOf(const std::vector<std::wstring>& paths, const std::vector<LONGLONG>& known, const Made* made)
{
    Latencies latencies(files, never);
    for (std::size_t i = 0; i < std::min(paths.size(), known.size()); ++i)
        if (const auto number = NumberOf(paths[i]); number && *number < files)
            latencies[*number] = Milliseconds(known[i] - made[*number].before);
    std::sort(latencies.begin(), latencies.end());
    return latencies;
}

double MedianOfMaking(const Made* made)
{
    std::vector<LONGLONG> ticks;
    for (std::size_t i = 0; i < files; ++i)
        ticks.push_back(made[i].after - made[i].before);
    std::nth_element(ticks.begin(), ticks.begin() + files / 2, ticks.end());
    return Milliseconds(ticks[files / 2]);
}

constexpr int percentiles[] = {50, 95, 99};

struct Contender {
    const char* name;
    StartStormWatch* start;
    std::array<double, std::size(percentiles)> best{never, never, never};
    double making = never; // the median of what the peer's calls took
    std::size_t lost = 0;
};

void Take(Contender& contender, const Latencies& latencies)
{
    for (std::size_t i = 0; i < std::size(percentiles); ++i) {
        const std::size_t place = (files * static_cast<std::size_t>(percentiles[i]) + 99) / 100 - 1;
        contender.best[i] = std::min(contender.best[i], latencies[place]);
    }
    contender.lost += static_cast<std::size_t>(std::count(latencies.begin(), latencies.end(), never));
}

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
    peer.Begin();
    const std::vector<LONGLONG> known = TimesKnown(*watch);
    const Made* const made = peer.Times();
    Take(contender, LatenciesOf(watch->InOrder(), known, made));
    contender.making = std::min(contender.making, MedianOfMaking(made));
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
    for (std::size_t i = 0; i < std::size(percentiles); ++i) {
        if (rival.best[i] == never)
            continue; // it has lost more files than these
        Print({"storm-" + std::to_string(percentiles[i]),
               ours.best[i],
               "ms",
               rival.name,
               rival.best[i],
               1.1,
               {{"files", files},
                {"seconds", seconds},
                {"rounds", rounds},
                {"of it the call that makes the file, median", ours.making},
                {"the same with the rival", rival.making},
                {"lost by the rival in all rounds", static_cast<double>(rival.lost)},
                {std::string("lost by ") + other.name, static_cast<double>(other.lost)}}});
    }
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
    const Contender &ours = contenders[0], &loop = contenders[1], &libuv = contenders[2];
    Require(ours.lost == 0, "files were not seen");
    PrintAgainst(loop, ours, libuv);
    PrintAgainst(libuv, ours, loop);
}

const Case storm("storm", Storm);

} // namespace
