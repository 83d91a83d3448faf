// The pending files of a watcher. One thread.
#pragma once

#include "host/Console.h"
#include "orbwatcher4/OrbWatcher.h"

// A watcher may keep a file that it cannot hand out now. After it had nothing to give, an unchanged queue is asked only
// once a second, because each question is a line in the log.
class PendingQueue
{
public:
    explicit PendingQueue(COrbWatcher& watcher) : m_watcher(watcher) {}

    // `now`: asks in any case.
    bool Take(QueueDatum& datum, FileIdentity& identity, bool now)
    {
        const std::int64_t count = m_watcher.GetTotalFilesInMem();
        if (count == 0 || (!now && count == m_keptCount && Seconds() - m_askedAt < 1))
            return false;
        m_keptCount = -1;
        if (m_watcher.GetSingleNotification(nullptr, datum, &identity))
            return true;
        m_keptCount = m_watcher.GetTotalFilesInMem();
        m_askedAt = Seconds();
        return false;
    }

private:
    COrbWatcher& m_watcher;
    std::int64_t m_keptCount = -1; // count after the last question without a result
    double m_askedAt = 0;
};
