// Any bytes as an index: as a database file with a write-ahead log or a journal beside it, or as values in its rows.
// Whatever is read from it is an item that the library could have written, and is found again in the cache.
//
// The first byte says which. Then, of files: two bytes with the length of the database (in units of 16 bytes), the
// database, and what lies beside it; of rows: for each value a byte with its type, and its bytes.
#include "fuzz/FuzzInput.h"

#include "companions/indexdb/IndexFormat.h"
#include "companions/indexdb/ItemCache.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include <unistd.h>

namespace
{

enum Kind : std::uint8_t { Rows, FileWithLog, FileWithJournal };

struct Close {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Database = std::unique_ptr<sqlite3, Close>;
using Statement = std::unique_ptr<sqlite3_stmt, Close>;

Database Open(const char* path)
{
    sqlite3* database = nullptr;
    sqlite3_open_v2(path, &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    Require(database != nullptr);
    IndexFormat::Restrict(database);
    IndexFormat::RegisterCollation(database);
    // A file that makes the database search for long is no finding here.
    sqlite3_progress_handler(database, 100'000, [](void*) { return 1; }, nullptr);
    return Database(database);
}

Statement Prepare(const Database& database, const char* sql)
{
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(database.get(), sql, -1, &statement, nullptr);
    return Statement(statement);
}

bool IsForeign(const Database& database)
{
    const Statement query = Prepare(database, IndexFormat::ForeignObjects);
    return !query || sqlite3_step(query.get()) != SQLITE_ROW || sqlite3_column_int64(query.get(), 0) != 0;
}

void CheckRow(const IndexFormat::ItemRow& row, ItemCache& cache)
{
    const std::wstring_view path = row.datum.path.View();
    Require(!path.empty() && path.size() <= ItemCache::MaxPath && path.find(L'\0') == path.npos);
    Require(row.datum.kind <= 1);
    CachedDatum before, found;
    const bool known = cache.Find(row.datum.id, before);
    const bool taken = cache.Put(row.datum, row.delayedUntil);
    Require(cache.Find(row.datum.id, found));
    Require(taken ? found.path == row.datum.path : known && found.path == before.path);
}

void Load(const Database& database)
{
    if (IsForeign(database))
        return;
    Statement items = Prepare(database, IndexFormat::ItemsWithGone);
    if (!items)
        items = Prepare(database, IndexFormat::ItemsWithoutGone);
    ItemCache cache;
    while (items && sqlite3_step(items.get()) == SQLITE_ROW)
        if (const auto row = IndexFormat::ReadItem(items.get()))
            CheckRow(*row, cache);
}

std::string TakeBytes(std::string_view& bytes, std::size_t count)
{
    const std::string taken(bytes.substr(0, count));
    bytes.remove_prefix(taken.size());
    return taken;
}

std::uint8_t TakeByte(std::string_view& bytes)
{
    const std::string taken = TakeBytes(bytes, 1);
    return taken.empty() ? 0 : static_cast<std::uint8_t>(taken[0]);
}

void BindValue(sqlite3_stmt* insert, int index, std::string_view& bytes)
{
    const std::uint8_t type = TakeByte(bytes);
    const std::size_t length = TakeByte(bytes);
    const std::string value = TakeBytes(bytes, length);
    const int size = static_cast<int>(value.size());
    std::int64_t number = 0;
    std::memcpy(&number, value.data(), std::min(value.size(), sizeof number));
    switch (type % 6) {
    case 0:
        sqlite3_bind_int64(insert, index, number);
        break;
    case 1:
        sqlite3_bind_text16(insert, index, value.data(), size & ~1, SQLITE_TRANSIENT);
        break;
    case 2:
        sqlite3_bind_blob(insert, index, value.data(), size, SQLITE_TRANSIENT);
        break;
    case 3:
        sqlite3_bind_double(insert, index, static_cast<double>(number));
        break;
    case 4: // a long text: the value says how long
        sqlite3_bind_text(insert, index, std::string(static_cast<std::size_t>(number & 0x7FFFF), 'n').c_str(), -1,
                          SQLITE_TRANSIENT);
        break;
    default:
        sqlite3_bind_null(insert, index);
    }
}

void LoadRows(std::string_view bytes)
{
    const Database database = Open(":memory:");
    for (const char* sql : {"PRAGMA encoding='UTF-16le'",
                            "CREATE TABLE items(id INTEGER PRIMARY KEY, modified, kind, flags, delayed, path)",
                            "CREATE TABLE gone(item INTEGER PRIMARY KEY)"})
        sqlite3_exec(database.get(), sql, nullptr, nullptr, nullptr);
    const Statement insert = Prepare(database, "INSERT INTO items VALUES(?, ?, ?, ?, ?, ?)");
    while (!bytes.empty()) {
        for (int column = 1; column <= 6; ++column)
            BindValue(insert.get(), column, bytes);
        sqlite3_step(insert.get());
        sqlite3_reset(insert.get());
    }
    Load(database);
}

class Folder
{
public:
    Folder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "index-fuzz-XXXXXX").string();
        Require(mkdtemp(name.data()) != nullptr);
        m_path = name;
    }
    ~Folder() { std::filesystem::remove_all(m_path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string Path(const char* name) const { return (m_path / name).string(); }
    void Write(const char* name, std::string_view bytes) const
    {
        std::ofstream(Path(name), std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    void Clear() const
    {
        for (const char* name : {"index", "index-wal", "index-shm", "index-journal"})
            std::filesystem::remove(Path(name));
    }

private:
    std::filesystem::path m_path;
};

void LoadFile(std::string_view bytes, const char* beside)
{
    static const Folder folder;
    folder.Clear();
    std::size_t length = TakeByte(bytes);
    length = (length | std::size_t(TakeByte(bytes)) << 8) * 16;
    folder.Write("index", TakeBytes(bytes, length));
    if (!bytes.empty())
        folder.Write(beside, bytes);
    Load(Open(folder.Path("index").c_str()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view bytes = AsBytes(data, size);
    switch (TakeByte(bytes) % 3) {
    case Rows:
        LoadRows(bytes);
        break;
    case FileWithLog:
        LoadFile(bytes, "index-wal");
        break;
    case FileWithJournal:
        LoadFile(bytes, "index-journal");
        break;
    }
    return 0;
}
