#include "companions/indexdb/IndexFormat.h"

#include "companions/indexdb/ItemCache.h"
#include "support/CaseFold.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace IndexFormat
{
namespace
{

enum Column { Id, Modified, Kind, Flags, Delayed, Path, Gone };

// A text inside a record of the file may begin at any byte.
std::uint16_t UnitAt(const void* units, std::size_t index)
{
    std::uint16_t unit;
    std::memcpy(&unit, static_cast<const char*>(units) + index * sizeof unit, sizeof unit);
    return unit;
}

// Compares as CompareNoCase does.
int ComparePaths(void*, int leftBytes, const void* left, int rightBytes, const void* right)
{
    const std::size_t common = static_cast<std::size_t>(std::min(leftBytes, rightBytes)) / sizeof(std::uint16_t);
    for (std::size_t i = 0; i < common; ++i) {
        const int difference = int(UpperUnit(UnitAt(left, i))) - int(UpperUnit(UnitAt(right, i)));
        if (difference != 0)
            return difference;
    }
    return leftBytes - rightBytes;
}

bool HoldsNumbers(sqlite3_stmt* row)
{
    for (const Column column : {Id, Modified, Kind, Flags, Delayed, Gone})
        if (sqlite3_column_type(row, column) != SQLITE_INTEGER)
            return false;
    const std::int64_t kind = sqlite3_column_int64(row, Kind), flags = sqlite3_column_int64(row, Flags);
    return (kind == 0 || kind == 1) && flags >= 0 && flags <= std::numeric_limits<std::uint32_t>::max();
}

bool ReadPath(sqlite3_stmt* row, CString& path)
{
    if (sqlite3_column_type(row, Path) != SQLITE_TEXT)
        return false;
    const void* text = sqlite3_column_text16(row, Path);
    const auto units = static_cast<std::size_t>(sqlite3_column_bytes16(row, Path)) / sizeof(std::uint16_t);
    if (!text || units == 0 || units > ItemCache::MaxPath)
        return false;
    wchar_t* to = path.GetBuffer(static_cast<int>(units));
    for (std::size_t i = 0; i < units; ++i)
        to[i] = static_cast<wchar_t>(UnitAt(text, i));
    path.ReleaseBuffer(static_cast<int>(units));
    return path.View().find(L'\0') == std::wstring_view::npos;
}

} // namespace

const char* const ForeignObjects = "SELECT count(*) FROM sqlite_master WHERE type IN ('view', 'trigger')"
                                   " OR sql LIKE 'CREATE VIRTUAL%'";

const char* const ItemsWithoutGone = "SELECT id, modified, kind, flags, delayed, path, 0 FROM items";
const char* const ItemsWithGone = "SELECT id, modified, kind, flags, delayed, path, gone.item IS NOT NULL FROM items"
                                  " LEFT JOIN gone ON gone.item = items.id";

int RegisterCollation(sqlite3* connection)
{
    return sqlite3_create_collation_v2(connection, "ORB_PATH", SQLITE_UTF16LE, nullptr, ComparePaths, nullptr);
}

void Restrict(sqlite3* connection)
{
    for (const int off : {SQLITE_DBCONFIG_ENABLE_TRIGGER, SQLITE_DBCONFIG_ENABLE_VIEW, SQLITE_DBCONFIG_TRUSTED_SCHEMA})
        sqlite3_db_config(connection, off, 0, nullptr);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_limit(connection, SQLITE_LIMIT_LENGTH, LongestValue);
}

std::optional<ItemRow> ReadItem(sqlite3_stmt* row)
{
    ItemRow item;
    if (!HoldsNumbers(row) || !ReadPath(row, item.datum.path))
        return std::nullopt;
    item.datum.id = static_cast<std::uint64_t>(sqlite3_column_int64(row, Id));
    item.datum.modificationTime = static_cast<std::uint64_t>(sqlite3_column_int64(row, Modified));
    item.datum.kind = static_cast<std::uint32_t>(sqlite3_column_int64(row, Kind));
    item.datum.flags = static_cast<std::uint32_t>(sqlite3_column_int64(row, Flags));
    if (sqlite3_column_int64(row, Gone) != 0)
        item.datum.flags |= CachedDatum::NoDeleteRecord;
    item.delayedUntil = sqlite3_column_int64(row, Delayed);
    return item;
}

} // namespace IndexFormat
