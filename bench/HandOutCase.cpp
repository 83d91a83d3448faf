// Handing pending files to the service, beside the calls of the system that this cannot do without: for each file, is a
// backup running, what do its entry and its opened handle say, and three lines for the log.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/WatcherBench.h"
#include "support/SystemPath.h"

#include <stdexcept>
#include <string>

namespace
{

constexpr int pending = 20'000;

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

// The log's file as the log writes to it: its size is asked of the system before each line, as others may write to it.
class BareLog
{
public:
    void Write(const std::string& line)
    {
        LARGE_INTEGER size;
        DWORD written;
        if (!GetFileSizeEx(m_file.Get(), &size) ||
            !WriteFile(m_file.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr))
            throw std::runtime_error("the bare log cannot be written");
    }

private:
    const FileHandle m_file{CreateFileW(L"bare.log", FILE_APPEND_DATA | SYNCHRONIZE,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, CREATE_ALWAYS,
                                        FILE_ATTRIBUTE_NORMAL, nullptr)};
};

Sum CallAll(const std::vector<CString>& files)
{
    BareLog log;
    const std::string begin(100, 'b'), adding(150, 'a'), end(98, 'e'); // as long as the lines of a hand-out
    Sum sum;
    for (const CString& plain : files) {
        log.Write(begin);
        const CString file = SystemPath(plain);
        const KernelHandle backup(OpenMutexW(MUTEX_ALL_ACCESS, FALSE, L"orb_bench_no_backup"));
        WIN32_FILE_ATTRIBUTE_DATA data;
        BY_HANDLE_FILE_INFORMATION information;
        const bool there = GetFileAttributesExW(file, GetFileExInfoStandard, &data) != FALSE;
        const FileHandle opened(CreateFileW(file, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!there || backup || !opened || !GetFileInformationByHandle(opened.Get(), &information))
            throw std::runtime_error("a file cannot be looked at");
        ++sum.files;
        sum.bytes += data.nFileSizeLow;
        const FILETIME& time = information.ftLastWriteTime;
        sum.times ^= time.dwLowDateTime | static_cast<unsigned __int64>(time.dwHighDateTime) << 32;
        log.Write(adding);
        log.Write(end);
    }
    return sum;
}

void HandOut()
{
    const FileTree tree = TreeOf(50'000);
    std::vector<CString> files = tree.Files();
    files.resize(pending);
    WatcherBench bench(tree);
    const Sum all = CallAll(files);
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
            check(CallAll(files), state);
    };
    Contest("handout", {{"files", double(files.size())}})
        .Ours(ours)
        .Against("the calls of the system alone", 1.3, bare)
        .OnceARound()
        .Rounds(5)
        .Run();
}

const Case handOut("handout", HandOut);

} // namespace
