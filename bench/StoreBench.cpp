#include "orbwatcher4/core/NotificationStore.h"

#include <benchmark/benchmark.h>

#include <string>

namespace
{

void StoreFillAndDrain(benchmark::State& state)
{
    std::vector<CString> paths;
    for (int i = 0; i < state.range(0); ++i)
        paths.emplace_back((L"C:\\Users\\someone\\folder\\file " + std::to_wstring(i)).c_str());
    for (auto _ : state) {
        NotificationStore store;
        for (const CString& path : paths)
            store.Put(path, std::make_shared<Notification>());
        for (std::size_t i = 0; i < paths.size(); ++i) {
            NotificationStore::Entry entry;
            store.BeginRound();
            store.NextInRound(entry);
            store.Erase(entry.path);
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(StoreFillAndDrain)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

} // namespace
