#include "orbwatcher4/filter/Decisions.h"
#include "support/Hashes.h"

#include <benchmark/benchmark.h>

#include <string>

namespace
{

void DecideWithRules(benchmark::State& state)
{
    FilterList rules;
    for (int i = 0; i < state.range(0); ++i) {
        auto rule = std::make_shared<Filter>();
        rule->path = (L"C:\\Users\\someone\\folder " + std::to_wstring(i) + L"\\").c_str();
        rule->incEx = i % 3 ? WatcherEnum::Include : WatcherEnum::Exclude;
        rule->type = 1;
        rule->includeSub = true;
        rules.push_back(rule);
    }
    Decisions::SortRules(rules);
    for (auto _ : state)
        benchmark::DoNotOptimize(
            Decisions::CheckRules(rules, L"C:\\Users\\someone\\folder 7\\deep\\file.txt", false, nullptr));
}
BENCHMARK(DecideWithRules)->Arg(10)->Arg(1000);

void HashAPath(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(PathHash64(L"C:\\Users\\someone\\folder 7\\deep\\file.txt"));
}
BENCHMARK(HashAPath);

} // namespace
