#include "orbwatcher4/estimator/DriveScans.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/filter/ApiBoundary.h"
#include "support/LockOrder.h"

#include <process.h>

#include <algorithm>
#include <iterator>
#include <new>

namespace
{

constexpr const wchar_t* ThreadName = L"drive scan";

HANDLE BeginThread(unsigned(__stdcall* entry)(void*), void* argument)
{
    return reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, entry, argument, 0, nullptr));
}

} // namespace

// The data of one thread. The rules are read before the thread starts, so that they may be edited while it walks.
struct DriveScans::Drive final : public SmartScanCaller {
    Drive(DriveScans& scans, const CString& path)
        : owner(scans),
          root(path),
          lists(scans.m_filter.CollectScanLists(path))
    {
    }

    void FileFoundCallback(const wchar_t* path, unsigned __int64 size) override
    {
        owner.m_caller.FileFoundCallback(path, size);
    }
    void FolderFoundCallback(const wchar_t* path) override { owner.m_caller.FolderFoundCallback(path); }
    bool ProgressCallback() override { return !owner.m_ending && owner.m_caller.ProgressCallback(); }

    DriveScans& owner;
    const CString root;
    const ScanLists lists;
    HANDLE stop = nullptr;
    std::shared_ptr<ScanTally> tally;
};

DriveScans::DriveScans(OrbFilter& filter, SmartScanCaller& caller)
    : m_filter(filter),
      m_caller(caller),
      m_start(&BeginThread)
{
}

DriveScans::~DriveScans() { End(); }

void DriveScans::Run(HANDLE stop, const std::shared_ptr<ScanTally>& tally)
{
    Wait(nullptr);
    const DriveList drives = m_filter.GenerateDriveList();
    tally->BeginDrives(static_cast<int>(drives.size()));
    // All memory is allocated before the first thread begins. If it failed later, nothing would wait for the threads.
    std::vector<KernelHandle> threads;
    threads.reserve(drives.size());
    std::vector<HANDLE> handles;
    handles.reserve(drives.size());
    m_threads.reserve(drives.size());
    for (const auto& [root, drive] : drives)
        threads.push_back(StartDrive(root, stop, tally));
    if (threads.empty())
        return;
    for (const KernelHandle& thread : threads)
        handles.push_back(thread.Get());
    const LockOrder::WaitScope wait(ThreadName);
    if (WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), TRUE, INFINITE) != WAIT_FAILED) {
        while (!threads.empty())
            threads.pop_back();
        return;
    }
    g_OrbLog.WriteLog(2, L"Scanner", __LINE__, L"The scans of %d drives go on by themselves: %d",
                      static_cast<int>(handles.size()), GetLastError());
    std::erase_if(threads, [](const KernelHandle& thread) { return !thread; });
    std::move(threads.begin(), threads.end(), std::back_inserter(m_threads));
}

KernelHandle DriveScans::StartDrive(const CString& root, HANDLE stop, const std::shared_ptr<ScanTally>& tally) noexcept
try {
    auto drive = std::make_unique<Drive>(*this, root);
    drive->stop = stop;
    drive->tally = tally;
    KernelHandle thread(m_start(&_ScanDrive, drive.get()));
    if (thread)
        static_cast<void>(drive.release()); // the thread owns it
    else
        g_OrbLog.WriteLog(2, L"Scanner", __LINE__, L"The scan of %s could not be started: %d", root.GetString(),
                          GetLastError());
    return thread;
} catch (const std::bad_alloc&) {
    g_OrbLog.WriteLog(2, L"Scanner", __LINE__, L"The scan of %s could not be started: out of memory", root.GetString());
    return {};
}

unsigned __stdcall DriveScans::_ScanDrive(void* context)
{
    const LockOrder::ThreadScope scope(ThreadName);
    SetThreadErrorMode(SEM_FAILCRITICALERRORS, nullptr);
    const std::unique_ptr<Drive> drive(static_cast<Drive*>(context));
    OrbFilter& filter = drive->owner.m_filter;
    bool whole = false;
    const BoundaryScope inside; // exceptions of the walk end here
    try {
        whole = filter.ScanSelection(drive->lists, L"*", false, drive.get(), drive->stop, drive->tally.get());
    } catch (const std::bad_alloc&) {
        g_OrbLog.WriteLog(2, L"Scanner", __LINE__, L"The scan of %s ended early: out of memory",
                          drive->root.GetString());
    }
    // A walk that was ended has marked folders as walked that it has not read. The next walk must read them.
    if (!whole)
        filter.ClearJunctionCache();
    drive->tally->EndDrive();
    return 0;
}

bool DriveScans::Wait(HANDLE abort)
{
    const LockOrder::WaitScope wait(ThreadName);
    for (; !m_threads.empty(); m_threads.pop_back()) {
        const HANDLE handles[] = {m_threads.back().Get(), abort};
        if (WaitForMultipleObjects(abort ? 2 : 1, handles, FALSE, INFINITE) != WAIT_OBJECT_0)
            return false;
    }
    return true;
}

void DriveScans::End()
{
    m_ending = true;
    Wait(nullptr);
    m_ending = false;
}
