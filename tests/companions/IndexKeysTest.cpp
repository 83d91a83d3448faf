// Keys are hashes that anybody can compute. Only one path has a key, although no tree of the database holds the keys.
#include "companions/indexdb/IndexFormat.h"
#include "support/Hashes.h"
#include "tests/companions/IndexTest.h"
#include "tests/security/ForgedPath.h"

#include <filesystem>
#include <initializer_list>

namespace
{

class IndexKeys : public IndexTest
{
protected:
    IndexKeys() { Create(); }

    const CString victim = L"C:\\users\\victim.txt", forged = ForgedPath(L"C:\\attacker\\", victim.View()).c_str();

    std::uint64_t ModifiedInDatabase(const CString& path)
    {
        EXPECT_TRUE(db.LoadCache());
        CachedDatum datum;
        return CIndexDB::GetCachedData(path.GetString(), datum) ? datum.modificationTime : 0;
    }
    // Runs statements as another process would. Stops at the first that fails.
    void RunOutside(std::initializer_list<std::string> statements)
    {
        RawDatabase outside(temp.Path(fileName));
        ASSERT_EQ(IndexFormat::RegisterCollation(outside.Get()), SQLITE_OK);
        for (const std::string& sql : statements)
            ASSERT_EQ(outside.Run(sql), "") << sql;
    }
    // Returns how many queries for rows a recording of these items makes.
    std::uint64_t QueriesToRecord(const std::vector<ItemDatum>& items)
    {
        const std::uint64_t before = CIndexDB::DatabaseLookups();
        EXPECT_TRUE(db.RecordItems(items));
        return CIndexDB::DatabaseLookups() - before;
    }
    static std::vector<ItemDatum> ItemsOf(const wchar_t* folder, int count)
    {
        std::vector<ItemDatum> items;
        for (int i = 0; i < count; ++i)
            items.push_back(Item((folder + std::to_wstring(i)).c_str()));
        return items;
    }
};

TEST_F(IndexKeys, BelongToThePathThatWasRecordedFirst)
{
    ASSERT_EQ(PathHash64(forged.View()), PathHash64(victim.View()));
    for (const bool cached : {false, true}) {
        SCOPED_TRACE(cached);
        ASSERT_TRUE(db.RecordItem(Item(victim)));
        EXPECT_EQ(ModifiedInDatabase(victim), 1u);
        if (!cached)
            CIndexDB::ClearCache();
        EXPECT_FALSE(db.RecordItem(Item(forged, 0, 2)));
        EXPECT_FALSE(db.RecordItems({Item(L"C:\\other"), Item(forged, 0, 2)}));
        EXPECT_EQ(ModifiedInDatabase(forged), 0u);
        EXPECT_EQ(ModifiedInDatabase(victim), 1u);
        ASSERT_TRUE(db.ForgetItem(victim));
        EXPECT_TRUE(db.RecordItem(Item(forged, 0, 2)));
        EXPECT_FALSE(db.RecordItem(Item(victim)));
        ASSERT_TRUE(db.ForgetItem(forged));
    }
}

TEST_F(IndexKeys, BelongToTheFirstPathOfABatch)
{
    EXPECT_FALSE(db.RecordItems({Item(victim), Item(forged, 0, 2)}));
    EXPECT_EQ(ModifiedInDatabase(victim), 1u);
    EXPECT_EQ(ModifiedInDatabase(forged), 0u);
}

TEST_F(IndexKeys, AreThoseOfTheLastItemWhenABatchHoldsAPathTwice)
{
    EXPECT_TRUE(db.RecordItems({Item(victim, 0, 1), Item(L"C:\\USERS\\VICTIM.TXT", 0, 2)}));
    EXPECT_EQ(ModifiedInDatabase(victim), 2u);
}

TEST_F(IndexKeys, AreLookedForInTheDatabaseWhenTheCacheHasMissedAChange)
{
    ASSERT_TRUE(db.RecordItem(Item(L"C:\\users\\another.txt", 0, 1)));
    ASSERT_TRUE(db.LoadCache());
    const auto key = static_cast<std::int64_t>(PathHash64(victim.View()));
    RunOutside({"UPDATE items SET id = " + std::to_string(key), "UPDATE changes SET count = count + 1"});
    EXPECT_FALSE(db.RecordItem(Item(forged, 0, 2)));
    EXPECT_TRUE(db.RecordItem(Item(L"C:\\unrelated")));
    EXPECT_FALSE(db.RecordItem(Item(forged, 0, 2))) << "the cache does not know of the other process's item yet";
}

TEST_F(IndexKeys, AreFoundInTheCacheWithoutReadingTheItems)
{
    ASSERT_TRUE(db.RecordItems(ItemsOf(L"C:\\before\\", 100)));
    ASSERT_TRUE(db.LoadCache());
    const std::uint64_t withCache = QueriesToRecord(ItemsOf(L"C:\\a\\", 10));
    EXPECT_EQ(QueriesToRecord(ItemsOf(L"C:\\b\\", 100)), withCache) << "the number of items does not matter";
    ASSERT_TRUE(db.ForgetItem(L"C:\\a\\1"));
    EXPECT_EQ(QueriesToRecord(ItemsOf(L"C:\\c\\", 10)), withCache) << "the cache has followed";
    CIndexDB::ClearCache();
    EXPECT_EQ(QueriesToRecord(ItemsOf(L"C:\\d\\", 10)), withCache + 1);
}

TEST_F(IndexKeys, DoNotSpreadTheFilesOfOneFolderOverTheDatabase)
{
    constexpr int before = 20000, recorded = 500;
    constexpr std::uintmax_t page = 4096;
    ASSERT_TRUE(db.RecordItems(ItemsOf(L"C:\\before\\", before)));
    ASSERT_TRUE(db.LoadCache());
    // The last connection copies the log into the database and removes it.
    db.Close();
    ASSERT_TRUE(db.Open(1, 0, 0));
    const CString log = temp.Path(fileName) + L"-wal";
    const std::uintmax_t empty = std::filesystem::file_size(log.GetString());
    ASSERT_TRUE(db.RecordItems(ItemsOf(L"C:\\new folder\\", recorded)));
    // 500 rows of 60 bytes, twice; a tree of the keys would have changed a page for nearly each of them.
    EXPECT_LE(std::filesystem::file_size(log.GetString()) - empty, 40 * page);
}

// Version 2 has a tree of the keys, and no count of the changes.
class SecondVersionOfTheIndex : public IndexKeys
{
protected:
    SecondVersionOfTheIndex()
    {
        db.Close();
        RunOutside({"DROP TABLE items", "DROP TABLE changes",
                    "CREATE TABLE items(id INTEGER PRIMARY KEY, parent INTEGER NOT NULL, kind INTEGER NOT NULL,"
                    " modified INTEGER NOT NULL, flags INTEGER NOT NULL, delayed INTEGER NOT NULL,"
                    " path TEXT NOT NULL COLLATE ORB_PATH UNIQUE)",
                    "PRAGMA user_version=2"});
        EXPECT_TRUE(db.Open(1, 0, 0));
    }
};

TEST_F(SecondVersionOfTheIndex, IsWrittenAsItIs)
{
    for (const bool cached : {false, true}) {
        SCOPED_TRACE(cached);
        ASSERT_TRUE(db.RecordItem(Item(victim)));
        EXPECT_TRUE(db.RecordItem(Item(L"C:\\USERS\\victim.TXT", 0, 3)));
        EXPECT_EQ(ModifiedInDatabase(victim), 3u);
        if (!cached)
            CIndexDB::ClearCache();
        EXPECT_FALSE(db.RecordItem(Item(forged, 0, 2)));
        EXPECT_EQ(ModifiedInDatabase(forged), 0u);
        ASSERT_TRUE(db.ForgetItem(victim));
    }
    EXPECT_EQ(RawDatabase(temp.Path(fileName)).Run("PRAGMA user_version"), "2");
}

} // namespace
