// The threads of a full scan, one a drive, all at once.
//
// One thread at a time runs and waits; Progress of the walks goes to the caller
// on the drives' threads.
#pragma once

#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/estimator/ScanTally.h"
#include "support/Handle.h"

#include <atomic>
#include <memory>
#include <vector>

class DriveScans
{
public:
    // Null when no thread can be started.
    using StartThread = HANDLE (*)(unsigned(__stdcall* entry)(void*), void* argument);

    // All of them must outlive the object.
    DriveScans(OrbFilter& filter, SmartScanCaller& caller);
    // Ends the walks that are still going on.
    ~DriveScans();
    DriveScans(const DriveScans&) = delete;
    DriveScans& operator=(const DriveScans&) = delete;

    // Walks what the filter selects of each of its drives, and returns when all walks have ended. The system waits for
    // 64 threads at most: with more, and when a thread could not be started, it returns at once, and the walks go on.
    // `stop` is an event that ends them.
    void Run(HANDLE stop, const std::shared_ptr<ScanTally>& tally);
    // Until the walks have ended that Run has left going on. False when the event was set before; null: none.
    bool Wait(HANDLE abort);
    // The same, and ends them.
    void End();
    bool IsEnding() const { return m_ending; }

    void SetStartThread(StartThread start) { m_start = start; }

private:
    struct Drive;
    static unsigned __stdcall _ScanDrive(void* context);
    // Null, and a line in the log, when the system or the memory refused it.
    KernelHandle StartDrive(const CString& root, HANDLE stop, const std::shared_ptr<ScanTally>& tally) noexcept;

    OrbFilter& m_filter;
    SmartScanCaller& m_caller;
    StartThread m_start;
    std::atomic<bool> m_ending{false};
    std::vector<KernelHandle> m_threads; // that have not been waited for
};
