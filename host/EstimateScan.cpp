#include "host/EstimateScan.h"

#include "host/Console.h"
#include "mfc/CEvent.h"
#include "support/CaseFold.h"

#include <algorithm>
#include <thread>

EstimateScan::EstimateScan(const SelectionFiles& files, const KeptOutside& outside, const std::wstring& stats,
                           SelectionView& selection, RecordWriter& writer)
    : m_writer(writer),
      m_selection(selection),
      m_scanner(files.data.c_str(), files.autoExclude.c_str(), stats.empty() ? nullptr : stats.c_str())
{
    m_scanner.SetDestination(outside.destination.c_str());
    m_scanner.SetOwnFiles({outside.index.c_str()}, {outside.written.begin(), outside.written.end()});
}

bool EstimateScan::ScanAll()
{
    for (const SelectionView::Folder& folder : m_selection.IncludedFolders())
        if (folder.withSubfolders)
            m_scanned.push_back(folder.path);
    return Work([&] {
        m_scanner.Start();
        m_scanner.WaitForScans();
        ScanWhatIsExcluded();
    });
}

bool EstimateScan::Work(const std::function<void()>& work)
{
    constexpr DWORD pollInterval = 50; // milliseconds between two looks at the scan
    CEvent done(false, true);
    const HANDLE events[] = {InterruptEvent(), done};
    std::thread thread([&] {
        work();
        done.SetEvent();
    });
    DWORD end;
    while ((end = WaitForMultipleObjects(2, events, FALSE, pollInterval)) == WAIT_TIMEOUT)
        m_writer.Progress(m_scanner.GetScanProgress(), Seconds());
    // Repeated, because a recount that begins meanwhile forgets an earlier request to end.
    const bool interrupted = end == WAIT_OBJECT_0;
    if (interrupted)
        do
            m_scanner.Stop();
        while (WaitForSingleObject(done, pollInterval) == WAIT_TIMEOUT);
    thread.join();
    m_writer.EndProgress();
    return !interrupted;
}

// The scans do not enter excluded folders. This scan finds how much they hold, for the table of left-out files.
void EstimateScan::ScanWhatIsExcluded()
{
    for (const PassedOverPath& passed : m_scanner.GetPassedOver())
        if ((passed.why == PathOutcome::Excluded || passed.why == PathOutcome::AutoExcluded) &&
            m_selection.WhyKeptOut(passed.path.GetString()) == KeptOut::No && !m_scanner.ScanPath(passed.path, true))
            return;
}

bool EstimateScan::Include(const std::wstring& path)
{
    return Work([&] {
        // The library takes a folder for scanned as soon as it has met anything in it.
        if (path.ends_with(L'\\') && !IsScanned(path)) {
            if (!m_scanner.ScanPath(path.c_str(), true))
                return;
            m_scanned.push_back(path);
        }
        m_scanner.AddPath(path.c_str(), true);
    });
}

bool EstimateScan::Exclude(const std::wstring& path)
{
    return Work([&] { m_scanner.RemovePath(path.c_str(), true); });
}

// Returns true when the path, with everything below it, is scanned.
bool EstimateScan::IsScanned(const std::wstring& path) const
{
    return std::any_of(m_scanned.begin(), m_scanned.end(),
                       [&](const std::wstring& folder) { return BeginsNoCase(path, folder); });
}

bool EstimateScan::Count(Estimate& estimate)
{
    return Work([&] {
        m_scanner.UpdateTotals();
        estimate = m_scanner.GetEstimate();
    });
}
