// Handing pending files to the service, beside the least that a program without a watcher does with a list of files:
// it opens each, asks the handle once for times, size and attributes, and closes it. The rival writes no log, asks no
// index and does not look whether a backup is running. Ours hands out with the log as it is installed, which takes
// every line.
//
// The case does not show what a slow disk or a share takes for the same calls, and no file of it is in the index or
// was deleted meanwhile.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/WatcherBench.h"

#include <stdexcept>
#include <string>

namespace
{

constexpr int pending = 2'000;

// The result of a contender. Equal results show that all have done the same work.
struct Sum {
    std::size_t files = 0;
    unsigned __int64 bytes = 0;
    unsigned __int64 times = 0;
};

void QueueAll(COrbWatcher& watcher, const std::vector<CString>& files)
{
    watcher.ClearNotifications();
    for (const CString& file : files)
        watcher.AddSingleNotification(file);
    if (watcher.GetTotalFilesInMem() != static_cast<__int64>(files.size()))
        throw std::runtime_error("not all files are pending");
}

Sum HandOutAll(COrbWatcher& watcher)
{
    Sum sum;
    QueueDatum datum;
    std::set<unsigned __int64> run;
    while (watcher.GetSingleNotification(&run, datum)) {
        ++sum.files;
        sum.bytes += datum.size;
        sum.times ^= static_cast<unsigned __int64>(datum.modificationTime);
    }
    return sum;
}

Sum AskAll(const std::vector<CString>& files)
{
    Sum sum;
    for (const CString& file : files) {
        const FileHandle opened(CreateFileW(file, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        BY_HANDLE_FILE_INFORMATION information;
        if (!opened || !GetFileInformationByHandle(opened.Get(), &information))
            throw std::runtime_error("a file cannot be looked at");
        ++sum.files;
        sum.bytes += information.nFileSizeLow;
        const FILETIME& time = information.ftLastWriteTime;
        sum.times ^= time.dwLowDateTime | static_cast<unsigned __int64>(time.dwHighDateTime) << 32;
    }
    return sum;
}

void HandOut()
{
    const FileTree tree = TreeOf(50'000);
    std::vector<CString> files = tree.Files();
    files.resize(pending);
    WatcherBench bench(tree);
    const Sum all = AskAll(files);
    const auto check = [&](const Sum& sum, benchmark::State& state) {
        if (sum.files != files.size() || sum.bytes != all.bytes || sum.times != all.times)
            state.SkipWithError("not all was handed out");
    };
    const auto ours = [&](benchmark::State& state) {
        for (auto _ : state) {
            state.PauseTiming();
            QueueAll(bench.watcher, files);
            state.ResumeTiming();
            check(HandOutAll(bench.watcher), state);
        }
    };
    const auto bare = [&](benchmark::State& state) {
        for (auto _ : state)
            check(AskAll(files), state);
    };
    Contest("handout", {{"files", double(files.size())}})
        .Ours(ours)
        .Against("open, one question, close", 1.5, bare)
        .OnceARound()
        .Rounds(5)
        .Run();
}

const Case handOut("handout", HandOut);

} // namespace
