// The decision over a path, as every change meets it.
#pragma once

#include "orbwatcher4/EnumerationProgress.h"
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/core/ObjectLockTable.h"

struct Classification {
    InclusionType decision = NotIncluded;
    InclusionType ordinary = NotIncluded;
    bool inBackupFolder = false; // which keeps it out
    bool advancedAsked = false;
    InclusionType advanced = Included;
    FilterList rules;             // of the primary filter, then of the secondary one
    std::size_t primaryRules = 0; // how many are the primary filter's
    FilterPtr advancedRule;       // the one that decided the advanced check, or null
};

// Of a path that the rules do not select.
PathOutcome RefusalOf(const Classification& answer);

// Locks each filter while it is asked, and none while regular expressions are.
Classification Classify(OrbFilter& primary, OrbFilter& secondary, ObjectLockTable& locks, const wchar_t* path);
