// The plugins of the selection, which the index database holds in a table.
#pragma once

#include "orbwatcher4/core/environment/Config.h"

// Makes the index's table equal to the plugins of the data file. Returns false when the data file cannot be loaded;
// returns true, and logs an error, when the index cannot be written. Throws std::bad_alloc.
bool FillPluginTable(const Config& config);
