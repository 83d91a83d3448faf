// The threads of a full scan, one for each drive, all at once.
//
// One thread at a time may run and wait. The walks report their progress to the caller on the threads of the drives.
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
    // Returns null when no thread can be started.
    using StartThread = HANDLE (*)(unsigned(__stdcall* entry)(void*), void* argument);

    // Filter and caller must outlive the object.
    DriveScans(OrbFilter& filter, SmartScanCaller& caller);
    // Ends the running walks.
    ~DriveScans();
    DriveScans(const DriveScans&) = delete;
    DriveScans& operator=(const DriveScans&) = delete;

    // Walks the selected part of each drive of the filter, and returns when all walks have ended. The system waits for
    // 64 threads at most: with more, or when a thread could not be started, the function returns at once, and the walks
    // continue. `stop` is an event that ends them.
    void Run(HANDLE stop, const std::shared_ptr<ScanTally>& tally);
    // Waits for the walks that continued after Run. Returns false when the event `abort`, which may be null, was set
    // first.
    bool Wait(HANDLE abort);
    // Ends the walks, and waits for them.
    void End();
    bool IsEnding() const { return m_ending; }

    void SetStartThread(StartThread start) { m_start = start; }

private:
    struct Drive;
    static unsigned __stdcall _ScanDrive(void* context);
    // Returns null, and writes a line to the log, when the system or the memory refuses.
    KernelHandle StartDrive(const CString& root, HANDLE stop, const std::shared_ptr<ScanTally>& tally) noexcept;

    OrbFilter& m_filter;
    SmartScanCaller& m_caller;
    StartThread m_start;
    std::atomic<bool> m_ending{false};
    std::vector<KernelHandle> m_threads; // threads to be waited for
};
