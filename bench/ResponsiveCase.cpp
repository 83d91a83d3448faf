// The time from a change in a watch's buffer until its file is pending, while a service merges rules and drains pending
// files without a pause: the 99th percentile, beside that of an idle machine.
//
// The changes come one at a time, through the engine and its notifier. The case does not show the time that the file
// system takes to report, nor what many changes at once do to each other ("records", "storm").
#include "bench/Case.h"
#include "bench/DataOfItsOwn.h"
#include "bench/FileTree.h"
#include "bench/PendingChanges.h"
#include "bench/PreparedReads.h"
#include "bench/Result.h"
#include "directory_changes/DirectoryChanges.h"
#include "mfc/CEvent.h"
#include "tests/support/TestMachine.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

namespace
{

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

constexpr int rules = 1'000;
constexpr int rulesAMerge = 10;
constexpr int phases = 4; // of each kind, in turns
constexpr int changesAPhase = 1'000;
constexpr int drained = 20'000;   // files that the drain begins with, again and again
constexpr DWORD pauseBetween = 2; // milliseconds

void Require(bool good, const char* what)
{
    if (!good)
        throw std::runtime_error(what);
}

// Gives the watcher each change, and notes when it was handled.
class Arrivals final : public CDirectoryChangeHandler
{
public:
    explicit Arrivals(COrbWatcher& watcher) : m_handler(WatcherAccess::Handler(watcher)) {}

    void OnFileAdded(const wchar_t* path) override
    {
        m_handler.OnFileAdded(path);
        m_at = Clock::now();
        m_arrived.SetEvent();
    }
    Clock::time_point Wait()
    {
        Require(m_arrived.Lock(60'000), "a change was lost");
        return m_at;
    }

private:
    ChangeHandler& m_handler;
    Clock::time_point m_at;
    CEvent m_arrived{false, false};
};

// A selection of the tree, and of many folders beside it, as a file of its own.
class Rules
{
public:
    Rules(const TempFolder& folder, const FileTree& tree) : m_folder(folder)
    {
        std::string items = Item(tree.root.GetString());
        for (int number = 0; number < rules; ++number)
            items += NextItem();
        m_folder.WriteBytes(L"data.xml", "<Data>" + items + "</Data>");
    }
    CString File() const { return m_folder.Path(L"data.xml"); }
    void MergeSome(COrbWatcher& watcher)
    {
        std::string items;
        for (int number = 0; number < rulesAMerge; ++number)
            items += NextItem();
        m_folder.WriteBytes(L"new.xml", "<Data>" + items + "</Data>");
        Require(watcher.AddNewQueueItem(m_folder.Path(L"new.xml"), true, nullptr, 1) == RulesQueued,
                "the rules cannot be merged");
    }

private:
    static std::string Item(const std::wstring& path)
    {
        return "<Item path=\"" + Narrow(path) + "\" type=\"1\" includeSub=\"1\"/>";
    }
    std::string NextItem() { return Item(L"C:\\Users\\someone\\folder " + std::to_wstring(m_next++)); }

    const TempFolder& m_folder;
    int m_next = 0;
};

// Threads that work in a circle, as long as it lives.
class BusyService
{
public:
    BusyService(COrbWatcher& watcher, Rules& selection, const std::vector<CString>& files)
    {
        m_merging = std::thread([&] {
            for (; !m_ends; ++merges)
                selection.MergeSome(watcher);
        });
        m_draining = std::thread([&] {
            QueueDatum datum;
            for (; !m_ends; ++handOuts)
                if (!watcher.GetSingleNotification(nullptr, datum))
                    for (int number = 0; number < drained; ++number)
                        PutPending(watcher, files[static_cast<std::size_t>(number)], NotificationKind::Modified);
        });
    }
    ~BusyService()
    {
        m_ends = true;
        m_merging.join();
        m_draining.join();
    }
    BusyService(const BusyService&) = delete;
    BusyService& operator=(const BusyService&) = delete;

    static inline std::atomic<int> merges{0}, handOuts{0};

private:
    std::atomic<bool> m_ends{false};
    std::thread m_merging, m_draining;
};

class Latencies
{
public:
    void Add(Clock::duration latency) { m_all.push_back(Microseconds(latency).count()); }
    double Percentile(int percent)
    {
        std::ranges::sort(m_all);
        return m_all[m_all.size() * static_cast<std::size_t>(percent) / 100];
    }
    double Longest() const { return *std::ranges::max_element(m_all); }

private:
    std::vector<double> m_all;
};

// Reports the last files of the tree, which nothing else makes pending.
class Reporter
{
public:
    Reporter(COrbWatcher& watcher, const FileTree& tree, const std::vector<CString>& files)
        : m_tree(tree),
          m_files(files),
          m_arrivals(watcher),
          m_engine(m_io, false, 1)
    {
        Require(m_engine.WatchDirectory(tree.root, &m_arrivals) == ERROR_SUCCESS, "the tree cannot be watched");
    }
    ~Reporter() { m_engine.UnwatchAllDirectories(); }
    Reporter(const Reporter&) = delete;
    Reporter& operator=(const Reporter&) = delete;

    void ReportInto(Latencies& latencies)
    {
        for (int change = 0; change < changesAPhase; ++change) {
            Sleep(pauseBetween);
            const CString& file = m_files[m_files.size() - 1 - static_cast<std::size_t>(change)];
            RecordBuffer record;
            record.Add(FILE_ACTION_ADDED, file.Mid(m_tree.root.GetLength() + 1).GetString());
            const Clock::time_point given = Clock::now();
            m_io.Give(record.Bytes());
            latencies.Add(m_arrivals.Wait() - given);
        }
    }

private:
    const FileTree& m_tree;
    const std::vector<CString>& m_files;
    Arrivals m_arrivals;
    PreparedReads m_io;
    CDirectoryChangeWatcher m_engine;
};

void StayResponsive()
{
    const FileTree tree = TreeOf(50'000);
    const std::vector<CString> files = tree.Files();
    const TempFolder folder;
    const DataOfItsOwn data(folder);
    g_OrbLog.SetLevel(LogLevel::Error);
    Rules selection(folder, tree);
    COrbWatcher watcher(false);
    watcher.Init();
    watcher.SetDataXmlPath(selection.File());
    Require(watcher.LoadSelection(), "the selection cannot be loaded");
    Reporter reporter(watcher, tree, files);
    Latencies idle, busy;
    for (int phase = 0; phase < phases; ++phase) {
        watcher.ClearNotifications();
        reporter.ReportInto(idle);
        watcher.ClearNotifications();
        const BusyService service(watcher, selection, files);
        reporter.ReportInto(busy);
    }
    Require(BusyService::merges > 0 && BusyService::handOuts > 0, "the service was not busy");
    Print({"responsive",
           busy.Percentile(99),
           "us",
           "an idle machine",
           idle.Percentile(99),
           2,
           {{"changes", phases * changesAPhase},
            {"rules at the beginning", rules},
            {"merges", BusyService::merges},
            {"hand-outs", BusyService::handOuts},
            {"median", busy.Percentile(50)},
            {"median of the idle machine", idle.Percentile(50)},
            {"longest", busy.Longest()},
            {"longest of the idle machine", idle.Longest()}}});
}

const Case responsive("responsive", StayResponsive);

} // namespace
