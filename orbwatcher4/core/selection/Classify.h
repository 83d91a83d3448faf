// The decision on a path, which every change needs.
#pragma once

#include "orbwatcher4/EnumerationProgress.h"
#include "orbwatcher4/core/selection/Selection.h"

struct Classification {
    InclusionType decision = NotIncluded;
    InclusionType ordinary = NotIncluded;
    KeptOut keptOut = KeptOut::No; // otherwise it is not selected
    bool advancedAsked = false;
    InclusionType advanced = Included;
    FilterList rules;             // first those of the primary filter, then those of the secondary one
    std::size_t primaryRules = 0; // number of the primary filter's rules in `rules`
    FilterPtr advancedRule;       // the rule that decided the advanced check, or null
};

// Returns the outcome of a path that the rules do not select.
PathOutcome RefusalOf(const Classification& answer);

// Locks each filter while it is asked, and no filter while regular expressions are matched. A caller that holds the
// locks, as the replay of the dump does, holds them all the time.
Classification Classify(Selection& selection, const wchar_t* path);
