// The hand-out of a thousand files while very much is pending on a drive that is away, beside the hand-out of these
// files alone. Between any two of them a hundred files and a deletion must be passed over.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/PendingChanges.h"
#include "bench/WatcherBench.h"

#include <stdexcept>
#include <string>

namespace
{

constexpr int good = 1'000;
constexpr int awayForEach = 100;

void PutAway(COrbWatcher& watcher, int number)
{
    const std::wstring folder = L"Y:\\photos\\album " + std::to_wstring(number);
    for (int i = 0; i < awayForEach; ++i)
        PutPending(watcher, (folder + L"\\picture " + std::to_wstring(i) + L".jpg").c_str(),
                   NotificationKind::Modified);
    PutPending(watcher, (folder + L"\\deleted.jpg").c_str(), NotificationKind::Deleted);
}

void Queue(COrbWatcher& watcher, const std::vector<CString>& files, bool withAway)
{
    watcher.ClearNotifications();
    for (int number = 0; number < good; ++number) {
        if (withAway)
            PutAway(watcher, number);
        watcher.AddSingleNotification(files[static_cast<std::size_t>(number)]);
    }
}

// Until the hand-out has nothing more to give.
int HandOutAll(COrbWatcher& watcher)
{
    int files = 0;
    QueueDatum datum;
    while (watcher.GetSingleNotification(nullptr, datum))
        ++files;
    return files;
}

void HandOutBesideAway()
{
    if (GetFileAttributesW(L"Y:\\") != INVALID_FILE_ATTRIBUTES)
        throw std::runtime_error("the drive Y: must be away");
    const FileTree tree = TreeOf(50'000);
    const std::vector<CString> files = tree.Files();
    WatcherBench bench(tree);
    const auto handOut = [&](bool withAway) {
        return [&, withAway](benchmark::State& state) {
            for (auto _ : state) {
                state.PauseTiming();
                Queue(bench.watcher, files, withAway);
                state.ResumeTiming();
                if (HandOutAll(bench.watcher) != good)
                    state.SkipWithError("not all was handed out");
                if (bench.watcher.GetTotalFilesInMem() != (withAway ? good * (awayForEach + 1) : 0))
                    state.SkipWithError("not all of the drive that is away was kept");
            }
        };
    };
    Contest("away", {{"files", good}, {"kept files", good * awayForEach}, {"kept deletions", good}})
        .Ours(handOut(true))
        .Against("the same files alone", 1.2, handOut(false))
        .OnceARound()
        .Run();
}

const Case handOutBesideAway("away", HandOutBesideAway);

} // namespace
