#include "directory_changes/ChangeRecords.h"
#include "tests/directory_changes/RecordBuffer.h"

#include <benchmark/benchmark.h>

namespace
{

class Counting final : public ChangeRecordSink
{
public:
    std::size_t events = 0;
    void Added(const wchar_t*) override { ++events; }
    void Removed(const wchar_t*) override { ++events; }
    void Modified(const wchar_t*) override { ++events; }
    void Renamed(const wchar_t*, const wchar_t*) override { ++events; }
};

void DecodeRecords(benchmark::State& state)
{
    RecordBuffer buffer;
    for (int i = 0; i < state.range(0); ++i)
        buffer.Add(3, L"someone\\folder\\file " + std::to_wstring(i));
    for (auto _ : state) {
        Counting sink;
        DecodeChanges(buffer.Bytes().data(), buffer.Bytes().size(), L"C:\\Users", sink);
        benchmark::DoNotOptimize(sink.events);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(DecodeRecords)->Arg(1000)->Unit(benchmark::kMicrosecond);

} // namespace
