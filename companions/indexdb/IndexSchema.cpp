#include "companions/indexdb/IndexSchema.h"

#include "companions/indexdb/IndexFormat.h"

namespace IndexSchema
{
namespace
{

// "OrbI" in the file's header: it tells an index from other programs' databases.
constexpr std::int64_t ApplicationId = 0x4F726249;

// Texts are stored in UTF-16, so that a file name that is not well-formed keeps its units.
const char* const statements[] = {
    // Rows are appended, and the tree of the paths grows where the files of a folder lie side by side. There is no tree
    // of the keys, which each item would change in another place: KeyOwners keeps two paths from having one key.
    "CREATE TABLE items("
    " id INTEGER NOT NULL,"
    " parent INTEGER NOT NULL,"
    " kind INTEGER NOT NULL,"
    " modified INTEGER NOT NULL,"
    " flags INTEGER NOT NULL,"
    " delayed INTEGER NOT NULL,"
    " path TEXT NOT NULL COLLATE ORB_PATH UNIQUE)",
    "CREATE TABLE jobs("
    " id INTEGER PRIMARY KEY,"
    " started INTEGER NOT NULL,"
    " ended INTEGER NOT NULL,"
    " items INTEGER NOT NULL,"
    " flags INTEGER NOT NULL)",
    "CREATE TABLE deletes("
    " job INTEGER NOT NULL,"
    " item INTEGER NOT NULL,"
    " deleted INTEGER NOT NULL,"
    " PRIMARY KEY(job, item)) WITHOUT ROWID",
};

// A narrow table: marking every item touches few pages, because the items' own rows are wide.
const char* const createGone = "CREATE TABLE IF NOT EXISTS gone(item INTEGER PRIMARY KEY)";

// One row, which counts the transactions that changed items. A cache that has followed all of them holds every key. The
// number to begin with is random, so that the number of one database says nothing about another one.
const char* const createChanges = "CREATE TABLE IF NOT EXISTS changes(id INTEGER PRIMARY KEY, count INTEGER NOT NULL)";
const char* const beginChanges = "INSERT OR IGNORE INTO changes(id, count) SELECT 1, random() / 2";

// One row with a random number: it tells this database from every other one, also from a later one of the same name.
const char* const createIdentity = "CREATE TABLE IF NOT EXISTS identity(id INTEGER PRIMARY KEY)";

} // namespace

const char* const CreatePlugins = "CREATE TABLE IF NOT EXISTS plugins("
                                  " position INTEGER PRIMARY KEY,"
                                  " id INTEGER NOT NULL,"
                                  " name TEXT NOT NULL,"
                                  " virtualPath TEXT NOT NULL,"
                                  " rootPath TEXT NOT NULL,"
                                  " guiName TEXT NOT NULL)";

const char* const CreateUnexported = "CREATE TABLE IF NOT EXISTS unexported(job INTEGER PRIMARY KEY)";

void RegisterCollation(IndexConnection& connection)
{
    if (IndexFormat::RegisterCollation(connection.Get()) != SQLITE_OK)
        throw LastErrorOf(connection.Get());
}

bool IsIndex(IndexConnection& connection)
{
    const std::int64_t version = connection.Number("PRAGMA user_version");
    const std::int64_t owner = connection.Number("PRAGMA application_id");
    if (owner != ApplicationId) {
        if (version == 0 && owner == 0 && connection.Number("SELECT count(*) FROM sqlite_master") == 0)
            return false;
        throw IndexError{CIndexDB::Error::Corrupt, L"the database of another program"};
    }
    if (version > Version)
        throw IndexError{CIndexDB::Error::Newer, L"written by a newer version"};
    constexpr const char* tables =
        "SELECT count(*) FROM sqlite_master WHERE type='table' AND name IN ('items', 'jobs', 'deletes')";
    if (version < 1 || connection.Number(tables) != 3)
        throw IndexError{CIndexDB::Error::Corrupt, L"tables are missing"};
    if (connection.Number(IndexFormat::ForeignObjects) != 0)
        throw IndexError{CIndexDB::Error::Corrupt, L"its schema is not that of an index"};
    return true;
}

void Create(IndexConnection& connection)
{
    // Has an effect only on an empty file and outside a transaction.
    connection.Execute("PRAGMA encoding='UTF-16le'");
    IndexTransaction transaction(connection);
    if (IsIndex(connection))
        return;
    for (const char* statement : statements)
        connection.Execute(statement);
    connection.Execute(createGone);
    connection.Execute(CreatePlugins);
    connection.Execute("PRAGMA application_id=0x4F726249");
    connection.Execute("PRAGMA user_version=3");
    transaction.Commit();
}

// An older database keeps its items under their keys, because another order would be the whole file anew. Marks in the
// items' flags stay there until the items are recorded again.
void Upgrade(IndexConnection& connection)
{
    const bool isFirst = connection.Number("PRAGMA user_version") < 2;
    if (!isFirst && connection.HasTable(L"changes"))
        return;
    IndexTransaction transaction(connection);
    connection.Execute(createGone);
    if (isFirst)
        connection.Execute("PRAGMA user_version=2");
    connection.Execute(createChanges);
    connection.Execute(beginChanges);
    transaction.Commit();
}

void GiveIdentity(IndexConnection& connection)
{
    if (!IdentityOf(connection).IsEmpty())
        return;
    IndexTransaction transaction(connection);
    connection.Execute(createIdentity);
    connection.Execute("INSERT INTO identity SELECT random() WHERE NOT EXISTS(SELECT 1 FROM identity)");
    transaction.Commit();
}

CString IdentityOf(IndexConnection& connection)
{
    if (!connection.HasTable(L"identity"))
        return {};
    IndexStatement identity(connection.Get(), "SELECT id FROM identity");
    CString text;
    if (identity.Step())
        text.Format(L"%016I64x", static_cast<std::uint64_t>(identity.Integer(0)));
    return text;
}

const char* ItemsQuery(IndexConnection& connection)
{
    return connection.HasTable(L"gone") ? IndexFormat::ItemsWithGone : IndexFormat::ItemsWithoutGone;
}

std::int64_t ItemChanges(IndexConnection& connection)
{
    return connection.HasTable(L"changes") ? connection.Number("SELECT count FROM changes WHERE id = 1") : 0;
}

void CountItemChange(IndexConnection& connection)
{
    connection.Execute("UPDATE changes SET count = count + 1 WHERE id = 1");
}

} // namespace IndexSchema
