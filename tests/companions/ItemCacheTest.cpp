#include "companions/indexdb/ItemCache.h"

#include "support/Hashes.h"
#include "tests/support/HeldBytes.h"

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

namespace
{

CachedDatum Datum(const std::wstring& path, std::uint64_t id, std::uint64_t time = 1)
{
    CachedDatum datum;
    datum.path = path;
    datum.id = id;
    datum.modificationTime = time;
    return datum;
}
CachedDatum Datum(const std::wstring& path) { return Datum(path, PathHash64(path)); }

TEST(ItemCache, PathsOfEveryShapeComeBackAsTheyWere)
{
    ItemCache cache;
    const std::wstring paths[] = {L"C:",
                                  L"C:\\a",
                                  L"\\\\server\\share\\x",
                                  L"\\\\server",
                                  L"\\x",
                                  L"name",
                                  L"C:\\a\\",
                                  L"C:\\" + std::wstring(32000, L'n')};
    for (const std::wstring& path : paths)
        cache.Put(Datum(path), 0);
    for (const std::wstring& path : paths) {
        CachedDatum datum;
        ASSERT_TRUE(cache.Find(PathHash64(path), datum));
        EXPECT_EQ(datum.path, path.c_str());
        EXPECT_EQ(cache.FindPath(path), PathHash64(path));
    }
    EXPECT_EQ(cache.Size(), std::size(paths));
}

TEST(ItemCache, KeysAtTheEdgesOfTheirRangeAreKeys)
{
    ItemCache cache;
    const std::uint64_t last = ~std::uint64_t(0);
    cache.Put(Datum(L"C:\\zero", 0), 0);
    cache.Put(Datum(L"C:\\last", last), 0);
    CachedDatum datum;
    EXPECT_TRUE(cache.Find(0, datum));
    EXPECT_TRUE(cache.Find(last, datum));
    EXPECT_FALSE(cache.Find(last - 1, datum));
    cache.Erase(last - 1);
    EXPECT_TRUE(cache.Find(last, datum));
    cache.Erase(last);
    EXPECT_FALSE(cache.Find(last, datum));
}

TEST(ItemCache, AnItemIsNotReplacedByAnotherPathWithItsKey)
{
    ItemCache cache;
    EXPECT_TRUE(cache.Put(Datum(L"C:\\\u00e4", 1), 7));
    EXPECT_FALSE(cache.Put(Datum(L"C:\\\u00f6", 1), 0));
    EXPECT_EQ(cache.Size(), 1u);
    EXPECT_EQ(cache.FindPath(L"C:\\\u00c4"), 1u);
    EXPECT_FALSE(cache.FindPath(L"C:\\\u00d6").has_value());
    EXPECT_EQ(cache.DelayedUntil(1), 7);
}

TEST(ItemCache, AnotherSpellingOfAPathReplacesItsItemWhateverTheKeys)
{
    ItemCache cache;
    EXPECT_TRUE(cache.Put(Datum(L"C:\\a", 1), 7));
    EXPECT_TRUE(cache.Put(Datum(L"C:\\A", 1), 0));
    EXPECT_TRUE(cache.Put(Datum(L"C:\\\u00e4", 2), 0));
    EXPECT_TRUE(cache.Put(Datum(L"C:\\\u00c4", 3), 0));
    EXPECT_EQ(cache.Size(), 2u);
    CachedDatum datum;
    ASSERT_TRUE(cache.Find(1, datum));
    EXPECT_EQ(datum.path, L"C:\\A");
    EXPECT_FALSE(cache.Find(2, datum));
    EXPECT_EQ(cache.FindPath(L"C:\\\u00e4"), 3u);
}

TEST(ItemCache, APathThatIsEmptyOrTooLongIsRefused)
{
    ItemCache cache;
    EXPECT_FALSE(cache.Put(Datum(L""), 0));
    EXPECT_FALSE(cache.Put(Datum(std::wstring(ItemCache::MaxPath + 1, L'n')), 0));
    EXPECT_FALSE(cache.Put(Datum(L"C:\\" + std::wstring(1 << 19, L'n')), 0)) << "longer than a block of names";
    EXPECT_TRUE(cache.Put(Datum(std::wstring(ItemCache::MaxPath, L'n')), 0));
    EXPECT_EQ(cache.Size(), 1u);
}

TEST(ItemCache, NamesNeverTakeMoreThanTheirRoom)
{
    constexpr std::uint64_t room = 1 << 19; // units
    ItemCache cache(room);
    const auto path = [](int i) { return L"C:\\" + std::wstring(32000, L'n') + std::to_wstring(i); };
    int held = 0;
    const auto fill = [&] {
        for (; held < 1000; ++held)
            cache.Put(Datum(path(held)), 0);
    };
    EXPECT_THROW(fill(), std::bad_alloc);
    EXPECT_LE(held * 32000u, room);
    CachedDatum datum;
    for (int i = 0; i < held; ++i)
        EXPECT_TRUE(cache.Find(path(i), datum)) << i;
}

TEST(ItemCache, FoldersKeepTheSpellingOfEachItem)
{
    ItemCache cache;
    cache.Put(Datum(L"C:\\Folder\\a"), 0);
    cache.Put(Datum(L"c:\\FOLDER\\b"), 0);
    CachedDatum datum;
    ASSERT_TRUE(cache.Find(PathHash64(L"c:\\folder\\a"), datum));
    EXPECT_EQ(datum.path, L"C:\\Folder\\a");
    ASSERT_TRUE(cache.Find(PathHash64(L"c:\\folder\\b"), datum));
    EXPECT_EQ(datum.path, L"c:\\FOLDER\\b");
}

TEST(ItemCache, FoldersThatAreEmptyAreForgotten)
{
    ItemCache cache;
    const auto path = [](int i) { return L"C:\\folder " + std::to_wstring(i) + L"\\file"; };
    cache.Put(Datum(path(0) + L" that stays"), 0);
    for (int i = 0; i < 1000; ++i) {
        cache.Put(Datum(path(i)), 0);
        cache.Put(Datum(path(i)), 5);
        cache.Put(Datum(path(i + 1)), 0);
        cache.Erase(PathHash64(path(i)));
    }
    EXPECT_EQ(cache.Folders(), 2u);
    for (const std::wstring& left : {path(0) + L" that stays", path(1000)}) {
        CachedDatum datum;
        ASSERT_TRUE(cache.Find(PathHash64(left), datum));
        EXPECT_EQ(datum.path, left.c_str());
        EXPECT_EQ(datum.parentId, PathHash64(left.substr(0, left.rfind(L'\\'))));
        EXPECT_EQ(cache.FindPath(left), PathHash64(left));
    }
}

TEST(ItemCache, EverythingIsStillThereAfterManyItemsCameAndWent)
{
    ItemCache cache;
    const std::wstring filler(200, L'f');
    const auto path = [&](int i) { return L"C:\\" + filler + std::to_wstring(i); };
    // Three times the blocks of names that may lie unused.
    for (int i = 0; i < 16000; ++i) {
        cache.Put(Datum(path(i)), 0);
        if (i >= 100)
            cache.Erase(PathHash64(path(i - 100)));
    }
    EXPECT_EQ(cache.Size(), 100u);
    for (int i = 16000 - 100; i < 16000; ++i) {
        CachedDatum datum;
        ASSERT_TRUE(cache.Find(PathHash64(path(i)), datum));
        EXPECT_EQ(datum.path, path(i).c_str());
    }
    EXPECT_FALSE(cache.FindPath(path(0)).has_value());
}

TEST(ItemCache, UpdatingAnItemOverAndOverKeepsOne)
{
    ItemCache cache;
    for (std::uint64_t time = 1; time <= 1000; ++time)
        cache.Put(Datum(L"C:\\a", 5, time), 0);
    CachedDatum datum;
    ASSERT_TRUE(cache.Find(5, datum));
    EXPECT_EQ(datum.modificationTime, 1000u);
    EXPECT_EQ(cache.Size(), 1u);
}

TEST(ItemCache, KnowsWhetherSomethingLiesBelowAFolderAtAnyDepthAndInAnyCase)
{
    ItemCache cache;
    cache.Put(Datum(L"C:\\Docs\\Deep\\\u00c4\\file.txt"), 0);
    for (const wchar_t* folder : {L"C:", L"C:\\Docs", L"c:\\DOCS\\deep", L"C:\\Docs\\Deep\\\u00e4"})
        EXPECT_TRUE(cache.HasItemsBelow(folder));
    for (const wchar_t* folder : {L"", L"C", L"C:\\Doc", L"C:\\Docs\\Deep\\\u00c4\\file.txt", L"D:"})
        EXPECT_FALSE(cache.HasItemsBelow(folder));
}

TEST(ItemCache, ForgetsAFolderWithItsLastItem)
{
    ItemCache cache;
    cache.Put(Datum(L"C:\\a\\b\\one"), 0);
    cache.Put(Datum(L"C:\\A\\c\\two"), 0);
    cache.Erase(PathHash64(L"C:\\a\\b\\one"));
    EXPECT_FALSE(cache.HasItemsBelow(L"C:\\a\\b"));
    EXPECT_TRUE(cache.HasItemsBelow(L"C:\\a"));
    cache.Erase(PathHash64(L"C:\\A\\c\\two"));
    EXPECT_FALSE(cache.HasItemsBelow(L"C:\\a"));
    EXPECT_FALSE(cache.HasItemsBelow(L"C:"));
}

// A folder of twenty, and a name of ten units: the text is theirs, the rest is what an item costs.
TEST(ItemCache, HoldsAnItemInLittleMoreThanItsText)
{
    constexpr int count = 100'000;
    const auto folder = [](int i) { return L"C:\\some folder\\" + std::to_wstring(1'000'000 + i / 20); };
    std::size_t units = 0;
    const HeldBytes held;
    ItemCache cache;
    for (int i = 0; i < count; ++i) {
        const std::wstring name = L"doc" + std::to_wstring(1'000'000 + i);
        units += name.size() + (i % 20 == 0 ? folder(i).size() : 0);
        cache.Put(Datum(folder(i) + L"\\" + name), 0);
    }
    const std::int64_t besideTheText = held.Now() - static_cast<std::int64_t>(units * sizeof(wchar_t));
    EXPECT_GT(besideTheText, 8 * count) << "an item has an id at least";
    EXPECT_LT(besideTheText, 54 * count);
}

TEST(ItemCache, FindsAnItemByItsPathWithOneLookUp)
{
    ItemCache cache;
    for (int i = 0; i < 1000; ++i)
        cache.Put(Datum(L"C:\\folder\\" + std::to_wstring(i)), 0);
    const std::uint64_t before = cache.PlacesVisited();
    CachedDatum byId, byPath;
    ASSERT_TRUE(cache.Find(PathHash64(L"C:\\folder\\500"), byId));
    const std::uint64_t once = cache.PlacesVisited() - before;
    ASSERT_TRUE(cache.Find(L"C:\\FOLDER\\500", byPath));
    EXPECT_EQ(cache.PlacesVisited() - before, 2 * once);
    EXPECT_EQ(byPath.id, byId.id);
    EXPECT_EQ(byPath.path, byId.path);
}

// The text that the caller hands in may be shared, and shorter or longer than the one that comes.
TEST(ItemCache, DescribesAnItemInADatumThatHeldAnother)
{
    ItemCache cache;
    for (const wchar_t* path : {L"C:\\a", L"C:\\a much longer path\\than the others", L"C:\\bb"})
        cache.Put(Datum(path), 0);
    CachedDatum datum;
    ASSERT_TRUE(cache.Find(L"C:\\A MUCH LONGER PATH\\than the others", datum));
    const CachedDatum copy = datum;
    ASSERT_TRUE(cache.Find(L"C:\\bb", datum));
    EXPECT_EQ(datum.path, L"C:\\bb");
    EXPECT_EQ(copy.path, L"C:\\a much longer path\\than the others");
    ASSERT_TRUE(cache.Find(L"C:\\a", datum));
    EXPECT_EQ(datum.path, L"C:\\a");
}

TEST(ItemCache, FlagsAreAddedToTheItemAlone)
{
    ItemCache cache;
    cache.Put(Datum(L"C:\\a"), 0);
    cache.Put(Datum(L"C:\\b"), 0);
    cache.AddFlags(PathHash64(L"C:\\a"), 64);
    cache.AddFlags(PathHash64(L"C:\\none"), 64);
    CachedDatum datum;
    ASSERT_TRUE(cache.Find(PathHash64(L"C:\\a"), datum));
    EXPECT_EQ(datum.flags, 64u);
    ASSERT_TRUE(cache.Find(PathHash64(L"C:\\b"), datum));
    EXPECT_EQ(datum.flags, 0u);
}

// The paths below the folder that no enumeration has met since the run began.
std::vector<std::wstring> Unmet(const ItemCache& cache, std::uint32_t run, const wchar_t* folder)
{
    std::vector<std::wstring> paths;
    for (std::size_t place = 0;; ++place) {
        const auto next = cache.NextUnmet(run, folder, place, cache.Places());
        if (!next)
            return paths;
        CachedDatum datum;
        EXPECT_TRUE(cache.FindAt(*next, datum));
        paths.push_back(datum.path.GetString());
        place = *next;
    }
}

using Paths = std::vector<std::wstring>;

TEST(ItemCacheRuns, AnItemThatIsMetIsMetByEveryRunThatHasBegun)
{
    ItemCache cache;
    for (const wchar_t* path : {L"C:\\a", L"C:\\b", L"C:\\c"})
        cache.Put(Datum(path), 0);
    EXPECT_FALSE(cache.Meet(L"C:\\a")) << "no run has begun";
    EXPECT_FALSE(cache.IsUnmet(L"C:\\a"));
    cache.BeginRun(1);
    EXPECT_TRUE(cache.IsUnmet(L"C:\\a"));
    EXPECT_TRUE(cache.Meet(L"c:\\A"));
    EXPECT_FALSE(cache.Meet(L"C:\\a")) << "it was met already";
    EXPECT_FALSE(cache.IsUnmet(L"C:\\a"));
    cache.BeginRun(2);
    EXPECT_TRUE(cache.Meet(L"C:\\b"));
    EXPECT_EQ(Unmet(cache, 1, L"C:"), Paths{L"C:\\c"});
    EXPECT_EQ(Unmet(cache, 2, L"C:"), (Paths{L"C:\\a", L"C:\\c"}));
    EXPECT_FALSE(cache.Meet(L"C:\\d"));
}

TEST(ItemCacheRuns, AnItemThatIsAddedDuringARunIsNoneThatHasDisappeared)
{
    ItemCache cache;
    cache.Put(Datum(L"C:\\a"), 0);
    cache.BeginRun(1);
    cache.Put(Datum(L"C:\\b"), 0);
    cache.Put(Datum(L"C:\\a", PathHash64(L"C:\\a"), 5), 0); // recorded again: not met by that
    EXPECT_EQ(Unmet(cache, 1, L"C:"), Paths{L"C:\\a"});
    cache.Erase(PathHash64(L"C:\\a"));
    cache.Put(Datum(L"C:\\c"), 0); // in the place of the other one
    EXPECT_EQ(Unmet(cache, 1, L"C:"), Paths{});
    cache.BeginRun(2);
    EXPECT_EQ(Unmet(cache, 2, L"C:").size(), 2u);
}

TEST(ItemCacheRuns, OnlyItemsBelowTheFolderAndInTheIndexAreUnmet)
{
    ItemCache cache;
    for (const wchar_t* path : {L"C:\\a", L"C:\\a\\f", L"c:\\A\\b\\g", L"C:\\ab\\h", L"D:\\a", L"\\\\s\\c\\a", L"C:"})
        cache.Put(Datum(path), 0);
    cache.BeginRun(1);
    EXPECT_EQ(Unmet(cache, 1, L"c:"), (Paths{L"C:\\a", L"C:\\a\\f", L"c:\\A\\b\\g", L"C:\\ab\\h"}));
    EXPECT_EQ(Unmet(cache, 1, L"C:\\a"), (Paths{L"C:\\a\\f", L"c:\\A\\b\\g"}));
    EXPECT_EQ(Unmet(cache, 1, L"\\\\S\\C"), Paths{L"\\\\s\\c\\a"});
    cache.AddFlags(PathHash64(L"C:\\a\\f"), CachedDatum::NoDeleteRecord);
    EXPECT_FALSE(cache.IsUnmet(L"C:\\a\\f"));
    EXPECT_FALSE(cache.Meet(L"C:\\a\\f"));
    EXPECT_EQ(Unmet(cache, 1, L"C:\\a"), Paths{L"c:\\A\\b\\g"});
}

TEST(ItemCacheRuns, AMarkTakesFourBytes)
{
    ItemCache cache;
    constexpr int count = 65536;
    for (int i = 0; i < count; ++i)
        cache.Put(Datum(L"C:\\d\\" + std::to_wstring(i)), 0);
    const HeldBytes held;
    cache.BeginRun(1);
    for (int i = 0; i < count; ++i)
        EXPECT_TRUE(cache.Meet(L"C:\\d\\" + std::to_wstring(i)));
    EXPECT_GE(held.Now(), count * 4);
    EXPECT_LE(held.Now(), count * 4 + 4096);
}

} // namespace
