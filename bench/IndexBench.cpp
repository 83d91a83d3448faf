#include "companions/indexdb/OrbIndexDB.h"
#include "tests/support/TempFolder.h"

#include <benchmark/benchmark.h>

namespace
{

void LookUpInTheIndex(benchmark::State& state)
{
    const TempFolder folder;
    CIndexDB index;
    index.SetDBFilePath(folder.Path(L"index.db"));
    if (!index.Open(1, 0, 0)) {
        state.SkipWithError("the index cannot be opened");
        return;
    }
    std::vector<ItemDatum> items;
    for (int i = 0; i < state.range(0); ++i) {
        ItemDatum item;
        item.path = (L"C:\\Users\\someone\\file " + std::to_wstring(i)).c_str();
        items.push_back(item);
    }
    index.RecordItems(items);
    index.LoadCache();
    std::size_t next = 0;
    CachedDatum datum;
    for (auto _ : state)
        benchmark::DoNotOptimize(CIndexDB::GetCachedData(items[next++ % items.size()].path.GetString(), datum));
    CIndexDB::ClearCache();
}
BENCHMARK(LookUpInTheIndex)->Arg(1000)->Arg(20000);

} // namespace
