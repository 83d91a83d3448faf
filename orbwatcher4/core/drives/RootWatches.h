// The watches of the roots, and the attempts to begin them.
//
// A watch that could not begin, or that has ended with an error, is begun again after pauses that grow. One thread.
#pragma once

#include "directory_changes/DirectoryChanges.h"
#include "mfc/CString.h"
#include "orbwatcher4/core/environment/Retry.h"

#include <map>
#include <vector>

class RootWatches
{
public:
    // The handler must outlive the object.
    explicit RootWatches(CDirectoryChangeHandler& handler) : m_handler(handler) {}

    bool IsWatched(const CString& root) const;
    // Begins to watch the root. Returns false when that failed. now: seconds since 1970.
    bool Begin(const CString& root, std::int64_t now);
    // Begins again when the time for another attempt has come. Returns true when the root is watched then.
    bool BeginAgain(const CString& root, std::int64_t now);
    void End(const CString& root);
    // Ends the watch, and forgets the attempts.
    void Forget(const CString& root);
    void ForgetAll();
    // Returns the roots that were tried and not forgotten.
    std::vector<CString> Tried() const;

private:
    friend class WatcherAccess; // tests

    struct Attempts {
        Retry retry;
        std::int64_t began = 0; // time when the watch began; 0: it could not begin
    };

    CDirectoryChangeHandler& m_handler;
    CDirectoryChangeWatcher m_engine;
    std::map<CString, Attempts> m_attempts;
};
