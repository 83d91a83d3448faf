// What an index file may hold, and reading its items: of a file that anybody may have written to, also beside an
// untouched one, as a write-ahead log.
//
// Portable: a fuzz target reads any bytes through it. One thread at a time.
#pragma once

#include "companions/indexdb/CachedDatum.h"

#include <sqlite3.h>

#include <cstdint>
#include <optional>

namespace IndexFormat
{

// No text or row that the library writes is nearly as long.
constexpr int LongestValue = 1 << 20; // bytes

// Paths compare by the system's upper-case table, through the collation ORB_PATH. Returns an SQLite status.
int RegisterCollation(sqlite3* connection);

// Lets the file run nothing: no triggers, no views, no functions out of its schema, no values longer than LongestValue.
void Restrict(sqlite3* connection);

// Counts what no index holds: views, triggers and tables that run code.
extern const char* const ForeignObjects;

// The items, of a file that has the table "gone" or has not.
extern const char* const ItemsWithGone;
extern const char* const ItemsWithoutGone;

struct ItemRow {
    CachedDatum datum; // without the parent
    std::int64_t delayedUntil = 0;
};
// The row of one of these queries. Nothing when it is none that the library has written: a kind, a type or a length
// that an item cannot have.
std::optional<ItemRow> ReadItem(sqlite3_stmt* row);

} // namespace IndexFormat
