// Judges pending files, one after the other, for one call of the service. The store must not be locked: the disk is
// asked.
#pragma once

#include "orbwatcher4/OrbWatcher.h"
#include "orbwatcher4/core/NotificationStore.h"

#include <optional>
#include <set>

class HandOut
{
public:
    enum class Verdict { Give, Drop, Keep };

    // sameRunIds may be null.
    HandOut(COrbWatcher& watcher, WatcherState& state, std::set<unsigned __int64>* sameRunIds, QueueDatum& out);
    // Give: `out` is filled.
    Verdict Offer(const NotificationStore::Entry& entry);
    // After Give, when the file does not go out after all.
    void TakeBack(const CString& path) noexcept;
    // Of the file that was judged last; zeros when it could not be read.
    const FileIdentity& Identity() const { return m_identity; }

private:
    bool IsSelected(const CString& path);
    bool IsBackupRunning();
    std::optional<Verdict> JudgeUploaded(const CString& path);
    void FillFromNotification(const NotificationStore::Entry& entry, bool isNew);
    bool ReadTimes(const CString& path, bool directory);
    void Finish(const NotificationStore::Entry& entry, bool directory, std::uint64_t id, DWORD attributes);

    COrbWatcher& m_watcher;
    WatcherState& m;
    std::set<unsigned __int64>* const m_sameRunIds;
    QueueDatum& m_out;
    const bool m_online;
    std::optional<bool> m_backupRunning; // nothing: nobody has asked yet
    bool m_counted = false;              // in m_sameRunIds, by the last Offer
    FileIdentity m_identity;
};
