// Writes a job and its delete records into a database file of their own. The file is self-contained: it travels to the
// destination of the backup.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"

#include <vector>

// Throws IndexError. The file appears whole or not at all. An empty file of that name counts as reserved for it; any
// other file is left alone.
void ExportTransaction(const CString& path, const SettingsDatum& job, const std::vector<DeleteDatum>& deletes);
