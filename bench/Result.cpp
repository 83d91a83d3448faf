#include "bench/Result.h"

#include <nlohmann/json.hpp>

#include <iostream>

bool Print(const Result& result)
{
    nlohmann::ordered_json line = {
        {"name", result.name}, {"value", result.value}, {"unit", result.unit}, {"against", result.against}};
    double judged = result.value;
    if (result.rival) {
        judged = result.value / *result.rival;
        line["rival"] = *result.rival;
        line["ratio"] = judged;
    } else {
        line["ratio"] = nullptr;
    }
    const bool met = judged <= result.goal;
    line["goal"] = result.goal;
    line["met"] = met;
    for (const auto& [name, size] : result.sizes)
        line[name] = size;
    std::cout << line.dump() << std::endl;
    return met;
}
