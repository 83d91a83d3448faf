// The roots that must be enumerated, each with its reason: after lost changes, after a return, after a new watch on a
// root, when new rules name a root, or after an enumeration that had to leave the root out. Kept in memory. Roots in
// the form of OrbFilter::StripToRoot.
//
// Any thread. Operations that note a root throw std::bad_alloc.
#pragma once

#include "mfc/CString.h"
#include "support/RankedSection.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <vector>

class DueRescans
{
public:
    // Reasons of a rescan, as listeners receive them.
    static constexpr const char* LostChanges = "lostChanges";
    static constexpr const char* DriveReturned = "driveReturned";
    static constexpr const char* WatchedAgain = "watchedAgain";
    static constexpr const char* NewDrive = "newDrive";

    // Seconds without further losses before a rescan begins, and the longest time that losses can delay it.
    static constexpr std::int64_t QuietSeconds = 5;
    static constexpr std::int64_t LongestWait = 300;

    // The reasons that keep one rescan due.
    struct Rescan {
        std::int64_t first; // when it became due, and when it was last reported; seconds since 1970
        std::int64_t last;
        const char* reason;
    };
    using Rescans = std::map<CString, Rescan>;

    void Report(const CString& root, const char* reason, std::int64_t now);
    // Returns the rescans whose quiet time is over. After the clock was set back, the quiet time starts again.
    std::vector<CString> Ready(std::int64_t now);
    // Removes the rescan, which the caller then begins. A loss that is reported later makes another one due.
    Rescans::node_type Take(const CString& root);
    // Puts back a rescan that could not begin. Without a node, because nothing was lost, it becomes due now.
    void GiveBack(const CString& root, Rescans::node_type rescan, const char* reason, std::int64_t now);
    std::optional<Rescan> Find(const CString& root) const;
    // Removes all rescans. Returns those roots for which `chosen` returns true, and whether these were all.
    struct Removed {
        std::set<CString> roots;
        bool all = true;
    };
    Removed RemoveAll(const std::function<bool(const CString& root)>& chosen);

private:
    mutable RankedSection m_section{LockRank::Leaf, L"due rescans"};
    Rescans m_rescans ORB_GUARDED_BY(m_section);
};
