// The caller's handler of a watch. As long as events may come, the watch holds a reference to the handler, and the
// handler counts the watch.
#pragma once

#include "directory_changes/DelayedDirectoryChangeHandler.h"

class WatchOwner
{
public:
    // Takes the reference, and lets `delayed`, which must outlive the owner, call the handler.
    WatchOwner(CDelayedDirectoryChangeHandler& delayed, CDirectoryChangeHandler& handler);
    ~WatchOwner() { LetGo(); }

    // Any thread. Compare it only; it may dangle after LetGo. Null once the handler was destroyed from inside an event.
    const CDirectoryChangeHandler* Handler() const { return m_handler; }
    // The handler is being destroyed. Returns false when another thread lets go of it at this moment.
    bool Forget();
    // Gives the reference back; the handler hears nothing more.
    void LetGo();
    // Takes the watch off the count of the handler's link.
    void Unlink(const WatchEngine& engine);
    // Worker: the next changes are of this directory.
    void SetDirectoryName(const CString& name);

    // True while the handler counts this watch. Guarded by the section of the engine.
    bool linked = false;

private:
    CDelayedDirectoryChangeHandler& m_delayed;
    std::atomic<const CDirectoryChangeHandler*> m_handler;
};
