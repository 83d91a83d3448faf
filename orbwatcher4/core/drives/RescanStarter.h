// Begins the enumerations that are due: of one root after losses and returns, and of everything by the time rule. One
// thread.
#pragma once

#include "orbwatcher4/core/drives/Drives.h"
#include "orbwatcher4/core/rescan/Enumerator.h"

#include <utility>
#include <vector>

// Receives a root whose rescan has begun, and its reason.
using RescanListener = std::function<void(const CString& root, const char* reason)>;

class RescanStarter
{
public:
    // All must outlive the object.
    RescanStarter(DueEnumerations& due, Selection& selection, Enumerator& enumerator, Drives& drives,
                  const RescanListener& listener);

    // Begins a rescan of the root. Returns false when none could begin, usually because one of the same root is
    // running; the rescan is due then. now: seconds since 1970.
    bool Start(const CString& root, const char* reason, std::int64_t now);
    // Begins each rescan whose quiet time is over.
    void StartReady(std::int64_t now);
    // Begins a full enumeration when the last one was long ago. The rule is checked every half hour.
    void StartFullByTime(std::int64_t now);
    // Tells the listener which rescans have begun. Call it with no lock held: the listener may call the watcher.
    void Announce();

private:
    bool IsFullDue(std::int64_t now);

    DueEnumerations& m_due;
    Selection& m_selection;
    Enumerator& m_enumerator;
    Drives& m_drives;
    const RescanListener& m_listener;
    std::vector<std::pair<CString, const char*>> m_begun; // the listener has not been told of them
};
