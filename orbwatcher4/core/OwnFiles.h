// The files that change because the watcher runs: its log, its running mark, the claims of commands, and the
// databases that are written for what it hands out. To watch them would feed on itself for ever.
#pragma once

#include "mfc/CString.h"

#include <vector>

class OwnFiles
{
public:
    // The databases; what SQLite keeps beside them counts, too. Before watching; an empty path names none.
    void SetDatabases(const CString& queue, const CString& index);
    // Any thread.
    bool Contains(const CString& path) const;

private:
    std::vector<CString> m_databases;
};
