// Judges pending files, one after the other, for one call of the service. Use it with the store unlocked, because it
// asks the disk.
#pragma once

#include "orbwatcher4/QueueDatum.h"
#include "orbwatcher4/core/pending/GivenInRun.h"
#include "orbwatcher4/core/pending/PendingStore.h"
#include "orbwatcher4/core/selection/Selection.h"

#include <optional>
#include <set>

class HandOutJudge
{
public:
    enum class Verdict { Give, Drop, Keep };

    // All must outlive the object. `given` is guarded by the caller; sameRunIds may be null.
    HandOutJudge(const Config& config, Selection& selection, const PendingStore& pending, GivenInRun& given,
                 std::set<std::uint64_t>* sameRunIds, QueueDatum& out);
    // Returns Give when `out` is filled.
    Verdict Offer(const NotificationStore::Entry& entry);
    // Undoes the last Offer that returned Give, when the file is not handed out after all.
    void TakeBack(const CString& path) noexcept;
    // Returns the identity of the file that was judged last; zeros when it could not be read.
    const FileIdentity& Identity() const { return m_identity; }

private:
    bool IsSelected(const CString& path);
    bool IsBackupRunning();
    std::optional<Verdict> JudgeUploaded(const CString& path);
    void FillFromNotification(const NotificationStore::Entry& entry, bool isNew);
    bool ReadTimes(const CString& path, bool directory);
    void Finish(const NotificationStore::Entry& entry, bool directory, std::uint64_t id, DWORD attributes);

    const Config& m_config;
    Selection& m_selection;
    const PendingStore& m_pending;
    GivenInRun& m_given;
    std::set<std::uint64_t>* const m_sameRunIds;
    QueueDatum& m_out;
    const bool m_online;
    std::optional<bool> m_backupRunning; // empty until it is needed
    bool m_counted = false;              // the last Offer has put the id into m_sameRunIds
    FileIdentity m_identity;
};
