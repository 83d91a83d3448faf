// Writes a job and its delete records into a database file of their own, which
// needs nothing beside it: it travels to the destination of the backup.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"

#include <vector>

// Throws IndexError. The file appears whole or not at all; an empty file of that name is taken as
// reserved for it, any other one is left alone.
void ExportTransaction(const CString& path, const SettingsDatum& job, const std::vector<DeleteDatum>& deletes);
