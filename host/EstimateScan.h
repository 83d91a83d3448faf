// The scan of an estimate. Each call works on a thread of its own, so that an interruption can end it and progress is
// shown meanwhile. One thread.
#pragma once

#include "host/Selection.h"
#include "orbwatcher4/Scanner.h"

#include <functional>
#include <vector>

class EstimateScan
{
public:
    // All arguments must outlive the scan. `stats` may be empty.
    EstimateScan(const SelectionFiles& files, const KeptOutside& outside, const std::wstring& stats,
                 SelectionView& selection, RecordWriter& writer);

    // These functions return false when they were interrupted.
    bool ScanAll();
    // `path`: a folder ends in a backslash.
    bool Include(const std::wstring& path);
    bool Exclude(const std::wstring& path);
    bool Count(Estimate& estimate);

    void SetMask(const std::wstring& mask) { m_scanner.SetFileFolderFilter(mask.c_str()); }
    void AddProfiles(const std::vector<int>& profiles) { m_scanner.AddProfile(profiles); }
    std::vector<PassedOverPath> PassedOver() { return m_scanner.GetPassedOver(); }

private:
    bool Work(const std::function<void()>& work);
    void ScanWhatIsExcluded();
    bool IsScanned(const std::wstring& path) const;

    RecordWriter& m_writer;
    SelectionView& m_selection;
    Scanner m_scanner;
    std::vector<std::wstring> m_scanned; // paths of folders, each with a trailing backslash
};
