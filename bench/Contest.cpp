#include "bench/Contest.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace
{

constexpr const char* ours = "ours";

// Keeps the best round of each contender.
class BestOfRounds final : public benchmark::BenchmarkReporter
{
public:
    Contest::Times times;

    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.error_occurred)
                throw std::runtime_error(run.run_name.function_name + ": " + run.error_message);
            if (run.run_type != Run::RT_Iteration)
                continue;
            const double time = run.GetAdjustedRealTime();
            const auto [best, first] = times.emplace(run.run_name.function_name, time);
            if (!first)
                best->second = std::min(best->second, time);
        }
    }
};

// The rounds of all contenders are mixed.
void MixRounds()
{
    char program[] = "orb_bench";
    char mixed[] = "--benchmark_enable_random_interleaving=true";
    char* arguments[] = {program, mixed};
    int count = static_cast<int>(std::size(arguments));
    benchmark::Initialize(&count, arguments);
}

} // namespace

Contest::Contest(std::string name, Sizes sizes) : m_name(std::move(name)), m_sizes(std::move(sizes)) {}

Contest& Contest::Ours(Work work)
{
    m_contenders.insert(m_contenders.begin(), {ours, 0, std::move(work)});
    return *this;
}

Contest& Contest::Against(const std::string& rival, double goal, Work work)
{
    m_contenders.push_back({rival, goal, std::move(work)});
    return *this;
}

Contest& Contest::In(benchmark::TimeUnit unit)
{
    m_unit = unit;
    return *this;
}

Contest& Contest::Rounds(int rounds)
{
    m_rounds = rounds;
    return *this;
}

Contest& Contest::OnceARound()
{
    m_once = true;
    return *this;
}

Contest::Times Contest::Run()
{
    MixRounds();
    benchmark::ClearRegisteredBenchmarks();
    for (const Contender& contender : m_contenders) {
        auto* registered = benchmark::RegisterBenchmark(contender.name.c_str(), contender.work);
        registered->Unit(m_unit)->UseRealTime()->Repetitions(m_rounds);
        if (m_once)
            registered->Iterations(1);
    }
    BestOfRounds reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    for (const Contender& rival : m_contenders)
        if (rival.name != ours)
            Print({m_name, reporter.times.at(ours), benchmark::GetTimeUnitString(m_unit), rival.name,
                   reporter.times.at(rival.name), rival.goal, m_sizes});
    return reporter.times;
}
