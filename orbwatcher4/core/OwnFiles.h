// The files that change because the watcher runs: its log, its running mark, the claims of commands, and the databases
// that are written for handed-out files. Watching them would cause endless changes.
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
    std::vector<CString> m_databases;
};
