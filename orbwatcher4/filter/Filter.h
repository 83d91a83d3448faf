/// @file
/// One rule of the selection, and what a check of a path can answer.
///
/// Rules are shared: the same one may stand in a filter and in a caller's list.
/// Once a rule is in a filter, its holder may read it, and may change it only
/// while no check runs. A filter keeps what it has learned of path, mask, kind,
/// type and includeSub of its rules: a rule that is to have others is taken out
/// (OrbFilter::RemoveSingleFilter), changed, and added again. Flags, plugin and
/// texts are read anew by each check.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/filter/FilterRegex.h"

#include <cstdint>
#include <memory>
#include <vector>

/// Words of the selection and of drives.
namespace WatcherEnum
{
/// The kind of a rule.
enum IncEx : std::int32_t { Include = 0, Exclude = 1 };
/// A service's report about a drive: it is there again (perhaps with another letter), nothing, or it is removed.
enum DriveAction : std::int32_t { DriveReappeared = 0, NoAction = 1, DriveRemoved = 2 };
} // namespace WatcherEnum

/// The answers of a check.
enum InclusionType : std::int32_t {
    Included = 0,      ///< to be backed up
    NotIncluded = 1,   ///< no rule selects it, or an automatic exclusion keeps it out
    Excluded = 2,      ///< a user's exclusion keeps it out (advanced checks: any exclusion)
    NotApplicable = 3, ///< a regular expression was asked about a directory or a vanished path
};

/// The bits of Filter::flags that have a meaning in this library.
namespace RuleFlags
{
constexpr std::uint32_t Internal = 0x400;                     ///< not for lists that users see
constexpr std::uint32_t Protected = 0x1000;                   ///< merging new rules leaves it as it is
constexpr std::uint32_t EvenWhenHidden = 0x4000;              ///< speaks of hidden files, too
constexpr std::uint32_t DisasterRecovery = 0x40000 | 0x80000; ///< either bit: recovery of the whole machine
constexpr std::uint32_t DedupCandidate = 0x04000000;          ///< also keeps a rule out of the include-root copying
constexpr std::uint32_t AutoExclude = 0x10000000;             ///< read from the automatic exclusions
} // namespace RuleFlags

/// A rule; docs/selection.md describes its fields.
struct ORBWATCHER4_API Filter {
    CString additionalInfo; ///< at most 278 units
    CString path;           ///< a folder rule's ends in a backslash; AllPaths in an advanced rule
    CString mask;       ///< endings separated by ";", or a regular expression; at most 5,119 units; empty: everything
    CString pluginName; ///< of the plugin that it belongs to
    CString itemText;   ///< the whole markup of the rule's element, only when it was asked for
    bool includeSub = false;                         ///< a folder with all that is below it
    WatcherEnum::IncEx incEx = WatcherEnum::Exclude; ///< the kind
    std::int32_t type = 0;                           ///< 1 folder, 0 single file
    std::uint32_t flags = 0;                         ///< RuleFlags, and others as they were written
    std::int32_t pluginId = 0;                       ///< number of that plugin
    std::int32_t vid = 0;                            ///< volume serial number
    bool volumeFound = false;                        ///< the volume is there, or the rule names none
    std::int32_t jobid = 0;                          ///< bits of the jobs that want what it selects
    bool exclude = false;                            ///< written as an exclusion by the user; incEx is what counts
    bool isregex = false;                            ///< the mask is a regular expression
    FilterRegex regex;                               ///< the compiled mask
};

/// Shared; see the top of this file.
using FilterPtr = std::shared_ptr<Filter>;
/// Rules in an order.
using FilterList = std::vector<FilterPtr>;

/// The path of an advanced rule that is meant for every path on every drive.
inline constexpr const wchar_t* AllPaths = L"$$ALLPATHS$$";
