/// @file
/// The one change of a path that waits for backup.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/filter/Filter.h"

#include <cstdint>
#include <memory>

/// What has happened to a path.
enum class NotificationKind : std::int32_t { Added = 0, Modified = 1, Deleted = 2 };

/// Not changed any more once it is in the store, where many paths may share it: a path's state changes by replacement.
struct Notification {
    CString firstText;                               ///< the texts of the rules that selected the path, joined by ":"
    CString secondText;                              ///< their numbers, in the same positions
    NotificationKind kind = NotificationKind::Added; ///< what has happened
    std::uint32_t ruleFlags = 0;                     ///< bits of QueueFlags
    std::uint32_t ruleValue = 0;                     ///< jobs of the rules: the bits of all of them
    std::uint64_t timeStamp = 0;                     ///< FILETIME of the deletion; 0 for the other kinds
};
/// Shared by the store and whoever looks at it.
using NotificationPtr = std::shared_ptr<const Notification>;

/// Takes over what the matched rules say, first to last: text, number, flags and value.
void FillFromRules(Notification& notification, const FilterList& rules);
