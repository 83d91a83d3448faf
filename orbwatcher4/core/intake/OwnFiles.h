// The files that change because the watcher runs: its log, its running mark, the claims of commands, and the databases
// that are written for handed-out files. Watching them would cause endless changes, so their changes are dropped before
// the filters, the disk or the index are asked. A change under a short name is dropped by the filters alone. The
// filters keep them, and the rest of the data folder, out of the selection.
#pragma once

#include "mfc/CString.h"

#include <vector>

class OwnFiles
{
public:
    // Sets the databases, with the files of SQLite beside them. Call it before watching; an empty path names none.
    void SetDatabases(const CString& queue, const CString& index);
    // Any thread.
    bool Contains(const CString& path) const;

private:
    std::vector<CString> m_databases; // and what is kept beside them
};
