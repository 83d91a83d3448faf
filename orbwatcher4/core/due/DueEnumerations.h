// The enumerations that must happen and have not begun, with their reasons.
//
// A full enumeration covers every root. It is noted in the settings, so that the next start makes it if this run ends
// first. A rescan covers one root (DueRescans); those that no pass begins any more are handed over to the next start.
//
// A full enumeration compares the disk with the index. It is due again when the index is another one than that of the
// last run: a lost index is replaced by an empty one, which would count as complete otherwise.
//
// A data folder belongs to one selection and one index. A run of another one leaves everything in the folder as it is:
// it sets no mark and keeps due enumerations in memory, and a full enumeration is due for it at each start.
//
// Every part of the watcher reports here when it could not handle a change. Any thread; callers need no lock.
#pragma once

#include "companions/settings/FolderUse.h"
#include "mfc/CString.h"
#include "orbwatcher4/core/due/DueRescans.h"
#include "orbwatcher4/core/due/RunningMark.h"
#include "support/Clock.h"
#include "support/RankedSection.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <set>

class DueEnumerations
{
public:
    // --- The life of a run of the watcher. ---

    // Begins a run. From here on a crash would lose changes, so the next start must notice it. Also notices an earlier
    // crash. `use`: the selection and the index of this run.
    void BeginRun(const FolderUse& use = {});
    // Compares the content of the selection (Selection::Content) with that of the last run. A full enumeration is due
    // when it is another one, or when that of the last run is not known: what the selection includes now may never have
    // been looked at. An empty text is not compared.
    void NoticeAnotherSelection(const CString& content);
    // Compares the destinations that are kept out with those of the last run. A full enumeration is due when one of
    // them is none any more: what lies in it was never looked at. Each folder ends in a backslash.
    void NoticeOtherDestinations(const std::set<CString>& folders);
    // Notes the selection and the destinations of a full enumeration that begins now, and looks at whatever they hold.
    void NoteLookedAt(const CString& content, const std::set<CString>& folders);
    // The content has become another one by new rules, whose files are queued.
    void NoteNewRules(const CString& before, const CString& now);
    // Returns true when the data folder belongs to another selection or index than this run.
    bool IsFolderForeign() const { return m_foreign; }
    // Returns true when the data folder remembered a selection or an index before this run: an end in it has noted what
    // it left.
    bool HadEarlierRun() const { return m_hadEarlierRun; }
    // Returns false when the running mark could not be set: a crash of this run would go unnoticed.
    bool IsCrashNoticed() const { return m_foreign || m_mark.IsSet(); }
    // Ends the run in an orderly way. pendingKept: the pending files are on the disk. Otherwise the next start must
    // find them again.
    void EndRun(bool pendingKept);

    // --- Full enumerations. ---

    // Returns false when the settings could not be written; KeepFull tries again. `reason`: one of FullDue, which the
    // settings keep; null when there is none of them.
    bool MakeFull(const wchar_t* reason = nullptr) noexcept;
    bool KeepFull() noexcept;
    // Makes a full enumeration due for a path that could not be examined, once: the next failure with the same path
    // changes nothing until Found has been called for it.
    void MakeFullOnceFor(const CString& path) noexcept;
    void Found(const CString& path) noexcept;
    // Notes that a full enumeration begins by the time rule: it is due until NoteFullCompleted, also for the next
    // start.
    void KeepDueUntilCompleted();
    // Notes that a full enumeration has begun. Later failures make another one due.
    void FullBegins();
    // Writes the time by which the next full enumeration is planned. Does nothing when another one became due since
    // FullBegins.
    void NoteFullCompleted(const Clock& clock);
    // Returns when the last full enumeration was complete, in seconds since 1970; 0: one is due.
    std::int64_t FullCompletedAt();

    // --- Rescans of one root. ---

    DueRescans& Rescans() { return m_rescans; }
    // Removes all due rescans, and notes those whose roots are chosen by `isAway` in the settings, for the next start.
    // The watch thread hands over the roots that are away when it ends; EndRun hands over every root that is due then.
    // Returns true when no due rescan was known to this run alone.
    bool HandOver(const std::function<bool(const CString& root)>& isAway);
    // Takes the rescans that an earlier run has handed over for the roots of this run. When these are all roots that
    // the selection has, a full enumeration becomes due instead of rescans for others: their rules are gone, or their
    // volume has another letter now.
    enum class Roots { AreAll, MayBeMore };
    void TakeOver(const std::set<CString>& roots, Roots known, std::int64_t now);

private:
    friend class WatcherAccess; // tests

    bool WriteFull(const wchar_t* reason);
    void FindOutWhetherUsed();
    void FindOutWhoseFolder(const FolderUse& use);
    void NoticeAnotherIndex(const CString& index);
    void NoticeUncleanEnd();

    DueRescans m_rescans;
    mutable RankedSection m_section{LockRank::Leaf, L"due enumerations"};
    std::set<CString> m_unknown ORB_GUARDED_BY(m_section); // paths that have made a full enumeration due
    RunningMark m_mark;
    std::atomic<bool> m_fullDueAgain{false}; // a full one became due after FullBegins
    std::atomic<bool> m_fullWritten{false};  // due in the settings, as far as this process knows
    std::atomic<bool> m_fullUnwritten{false};
    std::atomic<bool> m_begun{false};
    std::atomic<bool> m_hadEarlierRun{false};
    std::atomic<bool> m_foreign{false};
    std::atomic<std::int64_t> m_ownFull{0}; // FullCompletedAt of a run in a foreign folder
};
