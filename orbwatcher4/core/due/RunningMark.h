// Tells the next start that this run did not end in an orderly way.
//
// Pending files are kept in memory only. So each watcher holds a file of its own in the data folder open, and an
// orderly end deletes the file. A file that no process holds open was left by a crash, a power failure, or a watcher
// that was destroyed without DeInit. Several watchers, of several processes, may share the folder. Any thread.
#pragma once

#include "mfc/CString.h"
#include "support/Handle.h"
#include "support/RankedSection.h"

#include <vector>

class RunningMark
{
public:
    static constexpr const wchar_t* FilePattern = L"watcher_running_*.bin";

    // Does nothing when the mark is set already. A mark that cannot be made is logged, and the run continues without
    // it.
    void Set();
    // Returns the marks of earlier runs that did not end in an orderly way.
    static std::vector<CString> FindLeft();
    // Removes marks that FindLeft has found.
    static void Forget(const std::vector<CString>& left);
    bool IsSet() const;
    // Removes the mark at an orderly end.
    void Clear();
    // Releases the mark and keeps its file, so that the next start makes up for this run.
    void Leave();

private:
    mutable RankedSection m_section{LockRank::Leaf, L"running mark"};
    CString m_path ORB_GUARDED_BY(m_section);
    FileHandle m_file ORB_GUARDED_BY(m_section);
};
