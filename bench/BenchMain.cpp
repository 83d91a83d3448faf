// Runs the benchmarks and prints one JSON object a line.
#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include <iostream>

namespace
{

class LineReporter : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            nlohmann::ordered_json line = {{"name", run.benchmark_name()},
                                           {"value", run.GetAdjustedRealTime()},
                                           {"unit", benchmark::GetTimeUnitString(run.time_unit)},
                                           {"iterations", run.iterations}};
            for (const auto& [name, counter] : run.counters)
                line[name] = counter.value;
            std::cout << line.dump() << std::endl;
        }
    }
};

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    LineReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
