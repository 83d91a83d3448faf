// The events that a watcher reports on its own threads, kept until the service takes them. Any thread. The listeners
// only add to a list, because the watcher holds locks meanwhile.
#pragma once

#include "orbwatcher4/OrbWatcher.h"
#include "orbwatcher4/capi/SharedLock.h"
#include "orbwatcher4/core/environment/Completes.h"

#include <deque>
#include <mutex>
#include <string>
#include <string_view>

class KeptEvents
{
public:
    struct Rescan {
        CString root;
        std::wstring reason;
    };

    // Call it before the watcher is started. The watcher must end before this object.
    void Follow(COrbWatcher& watcher)
    {
        watcher.SetDeletionListener([this](const DeletionRecord& record) { Keep(m_deletions, record); });
        watcher.SetRescanListener([this](const CString& root, const char* reason) {
            const std::string_view text = reason;
            Keep(m_rescans, Rescan{root, {text.begin(), text.end()}});
        });
    }

    // Returns false when there is none.
    bool Take(DeletionRecord& deletion) { return Take(m_deletions, deletion); }
    bool Take(Rescan& rescan) { return Take(m_rescans, rescan); }

private:
    template <typename Event>
    void Keep(std::deque<Event>& events, const Event& event)
    {
        // If memory is exhausted, the event is lost, but the watcher's work goes on.
        Completes(L"Telling an event", [&] {
            const std::scoped_lock lock(m_lock);
            events.push_back(event);
        });
    }
    template <typename Event>
    bool Take(std::deque<Event>& events, Event& event)
    {
        const std::scoped_lock lock(m_lock);
        if (events.empty())
            return false;
        event = std::move(events.front());
        events.pop_front();
        return true;
    }

    SharedLock m_lock;
    std::deque<DeletionRecord> m_deletions; // guarded by m_lock
    std::deque<Rescan> m_rescans;           // guarded by m_lock
};
