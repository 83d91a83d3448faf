// The page that shows an estimate: one self-contained HTML file. Any thread.
#pragma once

#include "orbwatcher4/Estimate.h"

#include <cstdint>
#include <string>
#include <vector>

// A change of the selection that the command line asks for.
struct EstimateEdit {
    enum class Kind { Include, Exclude, Profile };
    Kind kind;
    std::wstring path; // absolute
    int profile = 0;
};

struct EstimateStep {
    std::wstring edit;  // as the record of the step names it; "scan" for the first step
    std::wstring words; // the same for the page
    SizeTotal total;
};

// Returns true when the file is a page that EstimatePage made, by the mark in its second line.
bool IsEstimatePage(const std::wstring& path);

struct EstimateReport {
    std::wstring selection; // path of the selection file
    std::vector<EstimateEdit> edits;
    std::vector<EstimateStep> steps;
    Estimate estimate;
    std::vector<std::wstring> unreadable;
    std::vector<std::wstring> notCounted; // what the selection includes in vain, and why, in words
};

// RuleText describes a rule for people; PathForm is the form of the path in it.
enum class PathForm { AsItIs, ToBePasted };
std::wstring RuleText(const FilterPtr& rule, PathForm form = PathForm::AsItIs);

// Returns true for a rule that an edit has made. It is in no file.
bool IsOfAnEdit(const FilterPtr& rule, const std::vector<EstimateEdit>& edits);

// Returns the page in UTF-8.
std::string EstimatePage(const EstimateReport& report);
