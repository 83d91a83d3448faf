// Tells the overlay service of statuses on a thread of its own: no other thread waits for the service.
//
// The first status starts the thread, and the owner ends it. During a pause of the connection the statuses wait, and
// the last one of a path replaces those before it. When the service does not run, the waiting statuses are dropped,
// as if each request had failed. Any thread.
#pragma once

#include "OrbFileMonitorService/OverlayCache.h"
#include "mfc/CEvent.h"
#include "orbwatcher4/core/environment/Config.h"
#include "orbwatcher4/core/environment/Signal.h"
#include "orbwatcher4/core/overlay/UnsentStatuses.h"
#include "support/Handle.h"

class OverlaySender
{
public:
    // The thread ends when `stop` is set, and none begins before it is reset. All must outlive the object.
    OverlaySender(const Config& config, OverlayCache& connection, CSignal& stop);
    ~OverlaySender();
    OverlaySender(const OverlaySender&) = delete;
    OverlaySender& operator=(const OverlaySender&) = delete;

    // Never waits for the service. If memory is exhausted, the status is lost.
    void Set(const CString& path, std::int32_t status) noexcept;
    // Adds a modification to the status that the path has.
    void AddModification(const CString& path) noexcept;

    // Waits for the thread's end. Set `stop` first. Statuses that were not sent wait for the next thread, except that
    // which was being sent.
    void Join();
    // Drops the statuses that wait.
    void Clear() noexcept;
    bool IsRunning() const;
    // Returns true when nothing waits, and no request is in progress.
    bool IsIdle() const;

    // Does the work of the thread on this one: sends what may be sent now. Returns how long to wait before more may be
    // sent, in milliseconds; INFINITE when nothing is left.
    DWORD SendDue();

private:
    static unsigned __stdcall RunOnThread(void* sender);

    template <typename Change>
    void Post(Change change) noexcept;
    void StartThread();
    void Run();
    std::optional<UnsentStatuses::Entry> Next(bool maySend);
    void Tell(const UnsentStatuses::Entry& entry);

    const Config& m_config;
    OverlayCache& m_connection;
    CSignal& m_stop;
    CEvent m_news{false, false}; // the first status has come
    mutable RankedSection m_lock{LockRank::Leaf, L"unsent overlay statuses", ShortWaitSpins};
    UnsentStatuses m_unsent ORB_GUARDED_BY(m_lock);
    bool m_isSending ORB_GUARDED_BY(m_lock) = false;
    bool m_isDropping ORB_GUARDED_BY(m_lock) = false; // the log says so once
    KernelHandle m_thread ORB_GUARDED_BY(m_lock);
};
