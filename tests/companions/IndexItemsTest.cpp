#include "tests/companions/IndexTest.h"

#include "support/Hashes.h"
#include "tests/support/ImportedCall.h"

#include <atomic>

namespace
{

class IndexItems : public IndexTest
{
protected:
    IndexItems() { Create(); }

    static bool Knows(const wchar_t* path)
    {
        CachedDatum datum;
        return CIndexDB::GetCachedData(path, datum);
    }
};

TEST_F(IndexItems, TheKeyIsThePathKeyWithoutOneTrailingBackslash)
{
    EXPECT_EQ(CIndexDB::CalculateUuid(L"C:\\Users\\x"), PathHash64(L"c:\\users\\x"));
    EXPECT_EQ(CIndexDB::CalculateUuid(L"C:\\Users\\x\\"), PathHash64(L"C:\\Users\\x"));
    EXPECT_EQ(CIndexDB::CalculateUuid(L"C:\\Users\\x\\\\"), PathHash64(L"C:\\Users\\x\\"));
    EXPECT_EQ(CIndexDB::CalculateUuid(L""), PathHash64(L""));
}

TEST_F(IndexItems, WithoutACacheNothingIsFoundAndNoDatabaseIsAsked)
{
    ASSERT_TRUE(db.RecordItem(Item(L"C:\\a")));
    const std::uint64_t before = CIndexDB::DatabaseLookups();
    CachedDatum datum;
    std::int64_t until = 5;
    EXPECT_FALSE(CIndexDB::CacheLoaded());
    EXPECT_FALSE(CIndexDB::GetCachedData(CIndexDB::CalculateUuid(L"C:\\a"), datum));
    EXPECT_FALSE(CIndexDB::GetCachedData(L"C:\\a", datum));
    EXPECT_FALSE(CIndexDB::IsDelayedItemWatcher(L"C:\\a", until));
    EXPECT_EQ(until, 0);
    EXPECT_EQ(CIndexDB::DatabaseLookups(), before);
}

TEST_F(IndexItems, ARecordedItemIsInTheCacheAsItWasGiven)
{
    ItemDatum item = Item(L"C:\\Users\\\x4f8b.txt", 0, 0xFFFFFFFFFFFFFFFE);
    item.flags = CachedDatum::NoDeleteRecord | 0x80000000;
    ASSERT_TRUE(db.RecordItem(item));
    ASSERT_TRUE(db.LoadCache());
    CachedDatum datum;
    ASSERT_TRUE(CIndexDB::GetCachedData(CIndexDB::CalculateUuid(item.path), datum, 1));
    EXPECT_EQ(datum.id, CIndexDB::CalculateUuid(item.path));
    EXPECT_EQ(datum.parentId, CIndexDB::CalculateUuid(L"C:\\Users"));
    EXPECT_EQ(datum.modificationTime, 0xFFFFFFFFFFFFFFFE);
    EXPECT_EQ(datum.kind, 0u);
    EXPECT_EQ(datum.flags, 64u | 0x80000000);
    EXPECT_EQ(datum.path, item.path);
}

TEST_F(IndexItems, AFolderCarriesItsBitAndNoTrailingBackslash)
{
    ASSERT_TRUE(db.RecordItems({Item(L"C:\\Users\\", 1), Item(L"C:\\", 1)}));
    ASSERT_TRUE(db.LoadCache());
    CachedDatum datum;
    ASSERT_TRUE(CIndexDB::GetCachedData(L"C:\\Users", datum));
    EXPECT_EQ(datum.flags, CachedDatum::Folder);
    EXPECT_EQ(datum.kind, 1u);
    EXPECT_EQ(datum.path, L"C:\\Users");
    EXPECT_EQ(datum.parentId, CIndexDB::CalculateUuid(L"C:\\"));
    ASSERT_TRUE(CIndexDB::GetCachedData(L"C:", datum));
    EXPECT_EQ(datum.parentId, 0u);
}

TEST_F(IndexItems, PathsAreFoundWithoutRegardToCaseAndOneTrailingBackslash)
{
    ASSERT_TRUE(db.RecordItems({Item(L"C:\\Gr\u00f6\u00dfe\\File.txt"), Item(L"C:\\plain", 1)}));
    ASSERT_TRUE(db.LoadCache());
    EXPECT_TRUE(Knows(L"c:\\GR\u00d6\u00dfE\\FILE.TXT"));
    EXPECT_TRUE(Knows(L"c:\\gr\u00f6\u00dfe\\file.txt\\"));
    EXPECT_TRUE(Knows(L"C:\\PLAIN\\"));
    EXPECT_FALSE(Knows(L"C:\\PLAIN\\\\"));
    EXPECT_FALSE(Knows(L"C:\\plai"));
    EXPECT_FALSE(Knows(L""));
}

TEST_F(IndexItems, TheCacheFollowsRecordingAndForgetting)
{
    ASSERT_TRUE(db.LoadCache());
    EXPECT_TRUE(CIndexDB::CacheLoaded());
    ASSERT_TRUE(db.RecordItem(Item(L"C:\\\u00e4", 0, 1)));
    ASSERT_TRUE(db.RecordItem(Item(L"C:\\\u00e4", 0, 2)));
    CachedDatum datum;
    ASSERT_TRUE(CIndexDB::GetCachedData(L"C:\\\u00c4", datum));
    EXPECT_EQ(datum.modificationTime, 2u);
    ASSERT_TRUE(db.ForgetItem(L"c:\\\u00c4\\"));
    EXPECT_FALSE(Knows(L"C:\\\u00e4"));
    EXPECT_TRUE(db.ForgetItem(L"C:\\never recorded"));
    ASSERT_TRUE(db.LoadCache());
    EXPECT_FALSE(Knows(L"C:\\\u00e4"));
}

std::atomic<int> g_flushes;
BOOL WINAPI CountedFlush(HANDLE)
{
    ++g_flushes;
    return TRUE;
}

TEST_F(IndexItems, ManyItemsAreForgottenInOneCommit)
{
    ASSERT_TRUE(db.LoadCache());
    std::vector<ItemDatum> items;
    std::vector<CString> paths{L"C:\\never recorded"};
    for (int i = 0; i < 100; ++i) {
        items.push_back(Item((L"C:\\" + std::to_wstring(i)).c_str()));
        paths.push_back(items.back().path);
    }
    ASSERT_TRUE(db.RecordItems(items));
    {
        const ImportedCall flush(L"OrbIndexDB.dll", "FlushFileBuffers", &CountedFlush);
        g_flushes = 0;
        ASSERT_TRUE(db.ForgetItems(paths));
    }
    EXPECT_LE(g_flushes, 2);
    for (const CString& path : paths)
        EXPECT_FALSE(Knows(path));
    ASSERT_TRUE(db.LoadCache());
    EXPECT_FALSE(Knows(L"C:\\99"));
}

TEST_F(IndexItems, AnotherSpellingOfAPathReplacesTheItem)
{
    ASSERT_TRUE(db.LoadCache());
    ASSERT_TRUE(db.RecordItem(Item(L"C:\\\u00e4", 0, 1)));
    ASSERT_TRUE(db.RecordItem(Item(L"C:\\\u00c4", 0, 2)));
    for (int loaded = 0; loaded < 2; ++loaded) {
        CachedDatum datum;
        EXPECT_FALSE(CIndexDB::GetCachedData(CIndexDB::CalculateUuid(L"C:\\\u00e4"), datum));
        ASSERT_TRUE(CIndexDB::GetCachedData(L"C:\\\u00e4", datum));
        EXPECT_EQ(datum.modificationTime, 2u);
        EXPECT_EQ(datum.path, L"C:\\\u00c4");
        ASSERT_TRUE(db.LoadCache());
    }
}

TEST_F(IndexItems, RecordingManyIsAllOrNothing)
{
    ASSERT_TRUE(db.LoadCache());
    EXPECT_FALSE(db.RecordItems({Item(L"C:\\a"), Item(L"")}));
    EXPECT_FALSE(db.RecordItems({Item(L"C:\\a"), Item(L"C:\\b", 2)}));
    EXPECT_FALSE(db.RecordItem(Item(std::wstring(40000, L'x').c_str())));
    EXPECT_FALSE(Knows(L"C:\\a"));
    EXPECT_TRUE(Below(L"C:").empty());
    EXPECT_TRUE(db.RecordItems({}));
}

TEST_F(IndexItems, DelayedItemsSayUntilWhen)
{
    ItemDatum item = Item(L"C:\\later");
    item.delayedUntil = 5000000000;
    ASSERT_TRUE(db.RecordItems({item, Item(L"C:\\now")}));
    ASSERT_TRUE(db.LoadCache());
    std::int64_t until = 0;
    EXPECT_TRUE(CIndexDB::IsDelayedItemWatcher(L"c:\\LATER\\", until));
    EXPECT_EQ(until, 5000000000);
    EXPECT_FALSE(CIndexDB::IsDelayedItemWatcher(L"C:\\now", until));
    EXPECT_EQ(until, 0);
    item.delayedUntil = 0;
    ASSERT_TRUE(db.RecordItem(item));
    EXPECT_FALSE(CIndexDB::IsDelayedItemWatcher(L"C:\\later", until));
}

TEST_F(IndexItems, TheCacheBelongsToOneDatabase)
{
    ASSERT_TRUE(db.RecordItem(Item(L"C:\\a")));
    ASSERT_TRUE(db.LoadCache());
    CIndexDB other;
    other.SetDBFilePath(temp.Path(L"other.db"));
    ASSERT_TRUE(other.Open(1, 0, 0));
    ASSERT_TRUE(other.RecordItem(Item(L"C:\\b")));
    ASSERT_TRUE(other.ForgetItem(L"C:\\a"));
    EXPECT_TRUE(Knows(L"C:\\a"));
    EXPECT_FALSE(Knows(L"C:\\b"));
    ASSERT_TRUE(other.LoadCache());
    EXPECT_FALSE(Knows(L"C:\\a"));
    EXPECT_TRUE(Knows(L"C:\\b"));
}

TEST_F(IndexItems, TheCacheFollowsAnyConnectionToItsDatabaseHoweverItIsNamed)
{
    ASSERT_TRUE(db.LoadCache());
    CIndexDB other;
    other.SetDBFilePath(temp.Path(L"x\\..\\INDEX.DB"));
    ASSERT_TRUE(other.Open(1, 0, 0));
    ASSERT_TRUE(other.RecordItem(Item(L"C:\\b")));
    EXPECT_TRUE(Knows(L"C:\\b"));
}

TEST_F(IndexItems, EverythingBelowAFolderIsFoundAtAnyDepth)
{
    ASSERT_TRUE(db.RecordItems({Item(L"C:\\a", 1), Item(L"C:\\a\\b", 1), Item(L"C:\\a\\b\\c.txt"),
                                Item(L"C:\\a\\unrecorded\\deep\\d.txt"), Item(L"C:\\ab\\x"), Item(L"C:\\a.txt"),
                                Item(L"C:\\a]"), Item(L"D:\\a\\x")}));
    const auto expected = Ids({L"C:\\a\\b", L"C:\\a\\b\\c.txt", L"C:\\a\\unrecorded\\deep\\d.txt"});
    EXPECT_EQ(Below(L"C:\\a"), expected);
    EXPECT_EQ(Below(L"c:\\A\\"), expected);
    EXPECT_EQ(Below(L"D:\\"), Ids({L"D:\\a\\x"}));
    EXPECT_TRUE(Below(L"E:").empty());
    EXPECT_FALSE(db.BeginFolderChildrenRead(L""));
}

TEST_F(IndexItems, WildcardsAndQuotesInNamesAreOrdinaryCharacters)
{
    ASSERT_TRUE(db.RecordItems({Item(L"C:\\100%\\a"), Item(L"C:\\1000\\a"), Item(L"C:\\x_y\\a"), Item(L"C:\\xzy\\a"),
                                Item(L"C:\\it's\\a"), Item(L"C:\\[ab]\\a"), Item(L"C:\\a*?\\a"),
                                Item(L"C:\\\xd800\\\xdc00"
                                     L"x")}));
    EXPECT_EQ(Below(L"C:\\100%"), Ids({L"C:\\100%\\a"}));
    EXPECT_EQ(Below(L"C:\\x_y"), Ids({L"C:\\x_y\\a"}));
    EXPECT_EQ(Below(L"C:\\it's"), Ids({L"C:\\it's\\a"}));
    EXPECT_EQ(Below(L"C:\\[ab]"), Ids({L"C:\\[ab]\\a"}));
    EXPECT_EQ(Below(L"C:\\a*?"), Ids({L"C:\\a*?\\a"}));
    EXPECT_EQ(Below(L"C:\\\xd800"), Ids({L"C:\\\xd800\\\xdc00"
                                         L"x"}));
}

TEST_F(IndexItems, FoldersAreFoundInTheCaseOfEveryAlphabet)
{
    ASSERT_TRUE(db.RecordItems({Item(L"C:\\\u00e4\x0436\\one"), Item(L"C:\\\u00c4\x0416\\two")}));
    EXPECT_EQ(Below(L"c:\\\u00c4\x0436").size(), 2u);
}

TEST_F(IndexItems, RecordsMayBeWrittenWhileChildrenAreRead)
{
    ASSERT_TRUE(db.RecordItems({Item(L"C:\\a\\1"), Item(L"C:\\a\\2"), Item(L"C:\\a\\3")}));
    ASSERT_TRUE(db.BeginFolderChildrenRead(L"C:\\a"));
    std::uint64_t id = 0;
    int rows = 0;
    while (db.ReadRow(id)) {
        ++rows;
        EXPECT_TRUE(db.InsertEx({id, 1, 1}, 0, nullptr, false));
    }
    EXPECT_EQ(rows, 3);
    EXPECT_FALSE(db.ReadRow(id));
    EXPECT_EQ(db.GetDeletes(1).size(), 3u);
}

TEST_F(IndexItems, AReadOfChildrenThatFailedStaysAtItsEnd)
{
    std::vector<ItemDatum> items;
    for (int i = 0; i < 3000; ++i)
        items.push_back(Item((L"C:\\f\\some long file name " + std::to_wstring(i)).c_str()));
    ASSERT_TRUE(db.RecordItems(items));
    db.Close();
    std::string bytes = temp.ReadBytes(fileName);
    ASSERT_GT(bytes.size(), 70u * 4096);
    bytes.replace(60 * 4096, 10 * 4096, 10 * 4096, '\x7f');
    temp.WriteBytes(fileName, bytes);
    ASSERT_TRUE(db.Open(0, 0, 0));
    ASSERT_TRUE(db.BeginFolderChildrenRead(L"C:\\f"));
    std::uint64_t id = 0;
    int rows = 0;
    while (db.ReadRow(id))
        ++rows;
    EXPECT_EQ(db.GetLastDbError(), Error::Corrupt);
    ASSERT_GT(rows, 0) << "the damage must lie behind the first row";
    EXPECT_FALSE(db.ReadRow(id));
}

TEST_F(IndexItems, LookUpsAmongTwoHundredThousandItemsAskNoDatabase)
{
    constexpr int folders = 400;
    constexpr int files = 500;
    const auto path = [](int folder, int file) {
        wchar_t text[100];
        _snwprintf(text, 100, L"C:\\Users\\folder %d\\file %d.txt", folder, file);
        return CString(text);
    };
    for (int folder = 0; folder < folders; folder += 10) {
        std::vector<ItemDatum> items;
        for (int i = 0; i < 10 * files; ++i)
            items.push_back(Item(path(folder + i / files, i % files), 0, static_cast<std::uint64_t>(i)));
        ASSERT_TRUE(db.RecordItems(items));
    }
    ASSERT_TRUE(db.LoadCache());

    const std::uint64_t before = CIndexDB::DatabaseLookups();
    std::uint64_t wrong = 0;
    CachedDatum datum;
    for (int i = 0; i < folders * files; ++i) {
        const CString wanted = path(i / files, i % files);
        const auto time = static_cast<std::uint64_t>(i % (10 * files));
        wrong += !CIndexDB::GetCachedData(wanted, datum) || datum.modificationTime != time;
        wrong += !CIndexDB::GetCachedData(CIndexDB::CalculateUuid(wanted), datum) || datum.path != wanted;
    }
    EXPECT_EQ(wrong, 0u);
    EXPECT_FALSE(Knows(L"C:\\Users\\folder 1\\file 500.txt"));
    EXPECT_EQ(CIndexDB::DatabaseLookups(), before);
    EXPECT_EQ(Below(L"C:\\users\\Folder 39").size(), static_cast<std::size_t>(files));
    EXPECT_EQ(CIndexDB::DatabaseLookups(), before + 1);
}

} // namespace
