/// @file
/// The one change of a path that waits for backup.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/filter/Filter.h"

#include <cstdint>
#include <memory>

/// The kinds of changes.
enum class NotificationKind : std::int32_t { Added = 0, Modified = 1, Deleted = 2 };

/// A pending change. It never changes in the store, where many paths may share it; a path's state changes by
/// replacement.
struct Notification {
    CString firstText;  ///< the texts of the rules, joined by ":"; none that those before contain
    CString secondText; ///< the numbers of these rules, in the same positions
    NotificationKind kind = NotificationKind::Added; ///< kind of the change
    std::uint32_t ruleFlags = 0;                     ///< bits of QueueFlags
    std::uint32_t ruleValue = 0;                     ///< bits of the jobs of all rules
    std::uint64_t timeStamp = 0;                     ///< FILETIME of the deletion; 0 for the other kinds
};
/// Shared by the store and its readers.
using NotificationPtr = std::shared_ptr<const Notification>;

/// Copies text, number, flags and value of the matched rules, first to last.
void FillFromRules(Notification& notification, const FilterList& rules);
