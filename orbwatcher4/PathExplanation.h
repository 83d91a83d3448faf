/// @file
/// The decision on a path, and the rules that made it.
#pragma once

#include "orbwatcher4/OrbFilter.h"

#include <vector>

/// The decision on a path, and how it came about.
struct PathExplanation {
    /// The file that a rule comes from.
    enum class Source { Data, AutoExclude, Advanced, Secondary };
    /// A rule that took part.
    struct Rule {
        FilterPtr rule; ///< shared with the watcher; not to be changed
        Source source;  ///< the file that it was read from
    };

    /// The reason of a decision: the rules, or a check before them.
    enum class Reason { Rules, TooLong, BackupFolder, OwnFile };

    CString path;                         ///< as the rules saw it
    Reason reason = Reason::Rules;        ///< what decided
    InclusionType decision = NotIncluded; ///< the decision that a change of the path would get
    InclusionType ordinary = NotIncluded; ///< the decision without the advanced rules
    bool advancedAsked = false;           ///< whether the advanced rules were asked
    InclusionType advanced = Included;    ///< their decision; only valid when they were asked
    std::vector<Rule> rules;              ///< the rules that took part, in order
    int deciding = -1;                    ///< index into rules; -1: no rule decided
};
