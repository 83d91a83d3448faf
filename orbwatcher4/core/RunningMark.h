// Tells the next start that this run did not end in an orderly way.
//
// What is pending is in memory only. So each watcher holds a file of its own in
// the data folder open, which an orderly end deletes. One that nobody holds open
// was left by a crash, a power failure, or a watcher that was destroyed without
// DeInit. Several watchers, of several processes, may share the folder. Any thread.
#pragma once

#include "mfc/CString.h"
#include "support/Handle.h"
#include "support/RankedSection.h"

#include <vector>

class RunningMark
{
public:
    static constexpr const wchar_t* FilePattern = L"watcher_running_*.bin";

    // Nothing when it is set already. A mark that cannot be made is logged; the work goes on without.
    void Set();
    // The marks of earlier runs that did not take theirs back.
    static std::vector<CString> FindLeft();
    // Removes marks that FindLeft has found.
    static void Forget(const std::vector<CString>& left);
    bool IsSet() const;
    // The orderly end.
    void Clear();
    // The end of a run that the next start must make up for: the mark stays, and nobody holds it any more.
    void Leave();

private:
    mutable RankedSection m_section{LockRank::Leaf, L"running mark"};
    CString m_path;    // guarded by m_section
    FileHandle m_file; // guarded by m_section
};
