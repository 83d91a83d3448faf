// The page that shows an estimate: one self-contained HTML file. Any thread.
#pragma once

#include "orbwatcher4/Estimate.h"

#include <cstdint>
#include <string>
#include <vector>

struct EstimateStep {
    std::wstring edit; // "scan" for the first step
    SizeTotal total;
};

// Returns true when the file is a page that EstimatePage made, by the mark in its second line.
bool IsEstimatePage(const std::wstring& path);

struct EstimateReport {
    std::wstring selection; // path of the selection file
    std::vector<EstimateStep> steps;
    Estimate estimate;
    std::vector<std::wstring> unreadable;
};

// RuleText describes a rule for people; PathForm is the form of the path in it.
enum class PathForm { AsItIs, ToBePasted };
std::wstring RuleText(InclusionType decision, const FilterPtr& rule, PathForm form = PathForm::AsItIs);

// Returns the page in UTF-8.
std::string EstimatePage(const EstimateReport& report);
