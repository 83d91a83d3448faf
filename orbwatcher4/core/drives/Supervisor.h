// Owns the watch thread, which decides what is watched and when enumerations begin (WatchLoop).
#pragma once

#include "orbwatcher4/core/drives/WatchLoop.h"

class Supervisor
{
public:
    explicit Supervisor(const WatchParts& parts) : m(parts) {}
    ~Supervisor() { Join(); }
    Supervisor(const Supervisor&) = delete;
    Supervisor& operator=(const Supervisor&) = delete;

    // Call it before watching. The listener is called on the watch thread with no lock held.
    void SetRescanListener(RescanListener listener) { m_listener = std::move(listener); }
    // One thread at a time calls these. If the thread cannot be started, a full enumeration becomes due.
    void Start();
    // Waits for the thread's end; it ends when the watcher stops.
    void Join();
    bool IsStarted() const { return static_cast<bool>(m_thread); }
    bool IsRunning() const { return m_thread && !IsSignalled(m_thread.Get()); }

    // Waits until every drive of the selection has been tried. Returns false after the time. Any thread.
    bool WaitUntilReady(DWORD milliseconds) { return m_ready.Lock(milliseconds); }
    void ForgetReady() { m_ready.ResetEvent(); }

private:
    friend class WatcherAccess; // tests

    static unsigned __stdcall RunOnThread(void* supervisor);

    const WatchParts m;
    RescanListener m_listener; // constant while watching
    CEvent m_ready{false, true};
    KernelHandle m_thread;
};
