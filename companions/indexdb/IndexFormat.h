// The format of an index file, and the reading of its items. Any user may have written to the file, or beside an
// untouched one, in a write-ahead log.
//
// Portable: a fuzz target reads any bytes through it. One thread at a time.
#pragma once

#include "companions/indexdb/CachedDatum.h"

#include <sqlite3.h>

#include <cstdint>
#include <optional>

namespace IndexFormat
{

// No text or row that the library writes is nearly so long.
constexpr int LongestValue = 1 << 20; // bytes

// Registers the collation ORB_PATH, which compares paths by the system's upper-case table. Returns an SQLite status.
int RegisterCollation(sqlite3* connection);

// Prevents the file from running code: no triggers, no views, no functions from its schema, no values longer than
// LongestValue.
void Restrict(sqlite3* connection);

// Counts objects that no index holds: views, triggers and tables that run code.
extern const char* const ForeignObjects;

// The queries for the items of a file that has the table "gone", and of one that has not.
extern const char* const ItemsWithGone;
extern const char* const ItemsWithoutGone;

struct ItemRow {
    CachedDatum datum; // without the parent
    std::int64_t delayedUntil = 0;
};
// Reads the row of one of these queries. Nothing when the library has not written it: a kind, a type or a length that
// an item cannot have.
std::optional<ItemRow> ReadItem(sqlite3_stmt* row);

} // namespace IndexFormat
