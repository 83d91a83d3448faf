// Index files that a user has written to, or has put a write-ahead log beside.
#include "tests/companions/IndexTest.h"

#include <cstring>
#include <string>

namespace
{

// A connection that can write items, as another user's program can.
class Stranger
{
public:
    explicit Stranger(const CString& path)
    {
        sqlite3* opened = nullptr;
        EXPECT_EQ(sqlite3_open16(path.GetString(), &opened), SQLITE_OK);
        m_database.reset(opened);
        const auto compare = [](void*, int leftBytes, const void* left, int rightBytes, const void* right) {
            const int order =
                std::memcmp(left, right, static_cast<std::size_t>(leftBytes < rightBytes ? leftBytes : rightBytes));
            return order != 0 ? order : leftBytes - rightBytes;
        };
        sqlite3_create_collation(m_database.get(), "ORB_PATH", SQLITE_UTF16LE, nullptr, compare);
    }
    void Run(const std::string& sql)
    {
        EXPECT_EQ(sqlite3_exec(m_database.get(), sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sql.substr(0, 200) << ": " << sqlite3_errmsg(m_database.get());
    }

private:
    struct Close {
        void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
    };
    std::unique_ptr<sqlite3, Close> m_database;
};

class PlantedIndex : public IndexTest
{
protected:
    PlantedIndex()
    {
        Create();
        EXPECT_TRUE(db.RecordItem(Item(L"C:\\kept")));
        db.Close();
    }
    static std::string InsertItem(const std::string& values)
    {
        return "INSERT INTO items(id, parent, kind, modified, flags, delayed, path) VALUES(" + values + ")";
    }
    // Inserts a name that is four times as long as a block of the cache's names.
    static std::string InsertOverlongName()
    {
        return InsertItem("7, 0, 0, 1, 0, 0, 'C:\\' || replace(hex(zeroblob(524288)), '0', 'n')");
    }
    void Copy(const wchar_t* from, const wchar_t* to) { EXPECT_TRUE(CopyFileW(temp.Path(from), temp.Path(to), FALSE)); }
    bool LoadsAsDamaged()
    {
        if (!db.Open(0, 0, 0))
            return db.GetLastDbError() == Error::Corrupt;
        const bool loaded = db.LoadCache();
        EXPECT_EQ(loaded, db.GetLastDbError() == Error::None);
        const bool damaged = db.GetLastDbError() == Error::Corrupt;
        db.Close();
        return damaged;
    }
};

TEST_F(PlantedIndex, ANameThatNoPathCanHaveIsReportedAndNotCopied)
{
    Stranger(temp.Path(fileName)).Run(InsertOverlongName());
    EXPECT_TRUE(LoadsAsDamaged());
    EXPECT_FALSE(CIndexDB::CacheLoaded());
}

TEST_F(PlantedIndex, AWriteAheadLogBesideAnUntouchedIndexIsReportedAndNotCopied)
{
    Copy(L"Index.db", L"kept");
    {
        Stranger stranger(temp.Path(fileName));
        stranger.Run("PRAGMA wal_autocheckpoint=0");
        stranger.Run(InsertOverlongName());
        Copy(L"Index.db-wal", L"planted");
    }
    Copy(L"kept", L"Index.db");
    Copy(L"planted", L"Index.db-wal");
    EXPECT_TRUE(LoadsAsDamaged());
}

TEST_F(PlantedIndex, AnItemThatNoLibraryHasWrittenIsReported)
{
    const char* const values[] = {
        "7, 0, 2, 1, 0, 0, 'C:\\a'",   // not a kind
        "7, 0, -1, 1, 0, 0, 'C:\\a'",  //
        "7, 0, 'x', 1, 0, 0, 'C:\\a'", // not a number
        "7, 0, 0, 'x', 0, 0, 'C:\\a'", //
        "7, 0, 0, 1, -1, 0, 'C:\\a'",  // more bits than the flags have
        "7, 0, 0, 1, 4294967296, 0, 'C:\\a'",
        "7, 0, 0, 1, 0, 1.5, 'C:\\a'",
        "7, 0, 0, 1, 0, 0, ''", // no path
        "7, 0, 0, 1, 0, 0, x'43003A005C006100'",
        "7, 0, 0, 1, 0, 0, 'C:\\a' || char(0) || 'b'",
        "7, 0, 0, 1, 0, 0, 'C:\\' || replace(hex(zeroblob(16383)), '0', 'n')", // one unit too long
    };
    for (const char* value : values) {
        Stranger(temp.Path(fileName)).Run(InsertItem(value));
        EXPECT_TRUE(LoadsAsDamaged()) << value;
        Stranger(temp.Path(fileName)).Run("DELETE FROM items WHERE id = 7");
    }
    EXPECT_FALSE(LoadsAsDamaged()) << "without them";
}

TEST_F(PlantedIndex, TheLongestPathIsStillAnItem)
{
    Stranger(temp.Path(fileName))
        .Run(InsertItem("7, 0, 0, 1, 0, 0, 'C:\\' || replace(hex(zeroblob(16382)), '0', 'n')"));
    EXPECT_FALSE(LoadsAsDamaged());
}

TEST_F(PlantedIndex, AViewInThePlaceOfATableIsNotAsked)
{
    Stranger stranger(temp.Path(fileName));
    stranger.Run("ALTER TABLE items RENAME TO theirs");
    stranger.Run(
        "CREATE VIEW items AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1000000)"
        " SELECT i AS id, 0 AS parent, 0 AS kind, 1 AS modified, 0 AS flags, 0 AS delayed, 'C:\\' || i AS path"
        " FROM n");
    EXPECT_TRUE(LoadsAsDamaged());
    EXPECT_FALSE(db.Open(1, 0, 0));
}

TEST_F(PlantedIndex, ATriggerThatForgetsDeletionsDoesNotRun)
{
    Stranger(temp.Path(fileName)).Run("CREATE TRIGGER forget AFTER INSERT ON deletes BEGIN DELETE FROM deletes; END");
    EXPECT_TRUE(LoadsAsDamaged());
    EXPECT_FALSE(db.Open(1, 0, 0));
    EXPECT_EQ(db.GetLastDbError(), Error::Corrupt);
}

TEST_F(PlantedIndex, AJobThatHasNoNextOneIsReported)
{
    for (const char* id : {"2147483647", "2147483648", "-1", "9223372036854775807"}) {
        Stranger(temp.Path(fileName)).Run(std::string("INSERT INTO jobs VALUES(") + id + ", 0, 0, 0, 0)");
        ASSERT_TRUE(db.Open(0, 0, 0));
        SettingsDatum job;
        EXPECT_FALSE(db.GetLastJobData(job)) << id;
        EXPECT_EQ(db.GetLastDbError(), Error::Corrupt) << id;
        db.Close();
        Stranger(temp.Path(fileName)).Run("DELETE FROM jobs");
    }
}

} // namespace
