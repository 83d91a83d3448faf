// Enumerations mark what they meet in the cache of the index; what has no mark at the end has disappeared.
#include "tests/companions/IndexTest.h"

namespace
{

class IndexRuns : public IndexTest
{
protected:
    IndexRuns() { Create(); }

    static CString Path(int number) { return CString((L"C:\\docs\\" + std::to_wstring(number)).c_str()); }
    void RecordAndLoad(int count)
    {
        std::vector<ItemDatum> items;
        for (int i = 0; i < count; ++i)
            items.push_back(Item(Path(i)));
        ASSERT_TRUE(db.RecordItems(items));
        ASSERT_TRUE(db.LoadCache());
    }
    static std::multiset<std::wstring> ReadAll(UnmetItems& items)
    {
        std::multiset<std::wstring> paths;
        while (CIndexDB::ReadUnmet(items))
            for (const CachedDatum& item : items.found)
                paths.insert(item.path.GetString());
        return paths;
    }
    static std::multiset<std::wstring> Unmet(std::uint32_t run, const wchar_t* folder = L"c:\\")
    {
        UnmetItems items{run, folder};
        return ReadAll(items);
    }
};

TEST_F(IndexRuns, HaveNoNumberWithoutACache)
{
    EXPECT_EQ(CIndexDB::BeginRun(), 0u);
    EXPECT_FALSE(CIndexDB::Meet(Path(0)));
    EXPECT_FALSE(CIndexDB::IsUnmet(Path(0)));
    EXPECT_TRUE(Unmet(1).empty());
}

TEST_F(IndexRuns, MarkWhatTheyMeetWhateverItsSpelling)
{
    RecordAndLoad(3);
    const std::uint32_t run = CIndexDB::BeginRun();
    EXPECT_GT(run, 0u);
    EXPECT_TRUE(CIndexDB::IsUnmet(L"c:\\DOCS\\0\\"));
    EXPECT_TRUE(CIndexDB::Meet(L"c:\\DOCS\\0\\"));
    EXPECT_FALSE(CIndexDB::IsUnmet(Path(0)));
    EXPECT_EQ(Unmet(run), (std::multiset<std::wstring>{Path(1).GetString(), Path(2).GetString()}));
    EXPECT_TRUE(Unmet(run, L"d:\\").empty());
    EXPECT_GT(CIndexDB::BeginRun(), run);
    EXPECT_TRUE(CIndexDB::IsUnmet(Path(0)));
}

TEST_F(IndexRuns, AreReadInPortionsAndWithoutTheDatabase)
{
    constexpr int count = 40000;
    RecordAndLoad(count);
    const std::uint32_t run = CIndexDB::BeginRun();
    const std::uint64_t lookups = CIndexDB::DatabaseLookups();
    for (int i = 0; i < count; i += 2)
        EXPECT_TRUE(CIndexDB::Meet(Path(i)));
    UnmetItems items{run, L"C:\\"};
    std::size_t most = 0, all = 0;
    while (CIndexDB::ReadUnmet(items)) {
        most = std::max(most, items.found.size());
        all += items.found.size();
    }
    EXPECT_EQ(all, count / 2u);
    EXPECT_LE(most, count / 4u);
    EXPECT_EQ(CIndexDB::DatabaseLookups(), lookups);
}

TEST_F(IndexRuns, ReadACacheThatIsLoadedMeanwhileFromItsBeginning)
{
    constexpr int count = 40000;
    RecordAndLoad(count);
    UnmetItems items{CIndexDB::BeginRun(), L"C:\\"};
    for (int i = 0; i < count; ++i)
        CIndexDB::Meet(Path(i));
    EXPECT_TRUE(CIndexDB::ReadUnmet(items));
    EXPECT_TRUE(items.found.empty());
    ASSERT_TRUE(db.LoadCache());
    EXPECT_EQ(ReadAll(items).size(), std::size_t(count)) << "nothing of the new cache was met";
    CIndexDB::ClearCache();
    EXPECT_FALSE(CIndexDB::ReadUnmet(items));
}

} // namespace
