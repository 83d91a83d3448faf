// The result of a case, printed as one JSON object on a line of standard output.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

// The sizes of a case by their names, as {"items", 200'000}.
using Sizes = std::vector<std::pair<std::string, double>>;

struct Result {
    std::string name;
    double value = 0;
    std::string unit; // of the value
    std::string against;
    std::optional<double> rival; // its value, in the same unit; nothing where the value speaks for itself
    double goal = 0;             // the largest ratio of the two that is good; without a rival, the largest value
    Sizes sizes;
};

// True when the goal was met.
bool Print(const Result& result);
