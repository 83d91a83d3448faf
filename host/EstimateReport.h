// The page that shows an estimate: one HTML file that needs nothing else. Any
// thread.
#pragma once

#include "orbwatcher4/Estimate.h"

#include <cstdint>
#include <string>
#include <vector>

struct EstimateStep {
    std::wstring edit; // "scan" for the first one
    SizeTotal total;
};

struct EstimateReport {
    std::wstring selection; // the file
    std::vector<EstimateStep> steps;
    Estimate estimate;
    std::vector<std::wstring> unreadable;
};

// What a rule says, for people.
enum class PathForm { AsItIs, ToBePasted };
std::wstring RuleText(InclusionType decision, const FilterPtr& rule, PathForm form = PathForm::AsItIs);

// UTF-8.
std::string EstimatePage(const EstimateReport& report);
