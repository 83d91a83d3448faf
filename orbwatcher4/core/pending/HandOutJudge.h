// Judges pending files, one after the other, for one call of the service. Use Offer with the store unlocked, because it
// asks the disk.
//
// Files whose drive is away stay pending, and there may be very many of them. Once one of them has shown that a root is
// away, or that another volume has its place, the judge asks nothing more about the root's paths. It forgets that with
// the end of the call: the drive may be back at the next one. The next call then asks the root before any of its files.
#pragma once

#include "orbwatcher4/QueueDatum.h"
#include "orbwatcher4/core/environment/AskedRoots.h"
#include "orbwatcher4/core/pending/GivenInRun.h"
#include "orbwatcher4/core/pending/PendingStore.h"
#include "orbwatcher4/core/selection/Selection.h"

#include <optional>
#include <set>
#include <utility>

// Knowledge that the judges of all calls share.
struct HandOutMemory {
    GivenInRun given;
    AskedRoots roots; // as the last call that asked them found them
};

class HandOutJudge
{
public:
    enum class Verdict { Give, Drop, Keep };

    // All must outlive the object. `memory` is guarded by the caller; sameRunIds may be null.
    HandOutJudge(const Config& config, Selection& selection, const PendingStore& pending, HandOutMemory& memory,
                 std::set<std::uint64_t>* sameRunIds, QueueDatum& out);
    ~HandOutJudge();
    HandOutJudge(const HandOutJudge&) = delete;
    HandOutJudge& operator=(const HandOutJudge&) = delete;

    // Returns true for a file that stays pending because its root is away. Asks nothing.
    bool IsKnownAway(const CString& path) const { return m_roots.IsUsable(path) == false; }
    // Returns Give when `out` is filled.
    Verdict Offer(const NotificationStore::Entry& entry);
    // Undoes the last Offer that returned Give, when the file is not handed out after all.
    void TakeBack(const CString& path) noexcept;
    // Returns the identity of the file that was judged last; zeros when it could not be read.
    const FileIdentity& Identity() const { return m_identity; }

private:
    bool IsStillAway(const CString& path);
    bool IsRootThere(const CString& path);
    bool IsOnOtherVolume(const CString& path);
    bool IsSelected(const CString& path);
    bool IsBackupRunning();
    std::optional<Verdict> JudgeUploaded(const CString& path);
    void FillFromNotification(const NotificationStore::Entry& entry, bool isNew);
    bool ReadTimes(const CString& path, bool directory);
    void Finish(const NotificationStore::Entry& entry, bool directory, std::uint64_t id, DWORD attributes);

    const Config& m_config;
    Selection& m_selection;
    const PendingStore& m_pending;
    HandOutMemory& m_memory;
    std::set<std::uint64_t>* const m_sameRunIds;
    QueueDatum& m_out;
    const bool m_online;
    std::optional<bool> m_backupRunning; // empty until it is needed
    bool m_counted = false;              // the last Offer has put the id into m_sameRunIds
    FileIdentity m_identity;
    AskedRoots m_roots; // in this call
};
