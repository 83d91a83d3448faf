// Contenders that do the same work, measured in turns.
//
// Each is run for several rounds, the rounds of all of them mixed, so that what the machine does meanwhile meets all
// alike; a contender's best round counts.
#pragma once

#include "bench/Result.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

class Contest
{
public:
    using Work = std::function<void(benchmark::State&)>;
    // The best time of each contender, by its name, in the contest's unit.
    using Times = std::map<std::string, double>;

    // `name` is that of the results.
    Contest(std::string name, Sizes sizes);

    Contest& Ours(Work work);
    // `goal`: the largest ratio of our time to the rival's that is good.
    Contest& Against(const std::string& rival, double goal, Work work);
    Contest& In(benchmark::TimeUnit unit);
    // Sets the number of rounds; the default is 7.
    Contest& Rounds(int rounds);
    // A round does the work once: it takes long, or it cannot be done again without preparing it.
    Contest& OnceARound();

    // Runs all of it and prints a result for each rival.
    Times Run();

private:
    struct Contender {
        std::string name;
        double goal;
        Work work;
    };

    std::string m_name;
    Sizes m_sizes;
    std::vector<Contender> m_contenders; // ours is the first
    benchmark::TimeUnit m_unit = benchmark::kMillisecond;
    int m_rounds = 7;
    bool m_once = false;
};
