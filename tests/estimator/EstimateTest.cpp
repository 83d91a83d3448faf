// The parts of an estimate beside its totals: sums, reasons, progress.
#include "orbwatcher4/filter/DirectoryWalk.h"
#include "orbwatcher4/filter/FilterAccess.h"
#include "tests/estimator/ScannerFixture.h"
#include "tests/filter/FakeDisk.h"
#include "tests/filter/FolderRule.h"

#include <map>

namespace
{

class EstimateRows : public ScannerFixture
{
protected:
    void Find(const wchar_t* path, std::uint64_t size) { scanner.FileFoundCallback(path, size); }
    FilterPtr Add(const FilterPtr& rule)
    {
        ScannerAccess::Selection(scanner).AddSingleFilter(rule, true);
        return rule;
    }
    static FilterPtr WithMask(const FilterPtr& rule, const wchar_t* mask)
    {
        rule->mask = mask;
        return rule;
    }
};
using Rows = std::vector<std::pair<std::wstring, SizeTotal>>;

TEST_F(EstimateRows, FoldersAreSummedWithAllBelowThemLargestFirst)
{
    Add(FolderRule(L"B:\\"));
    Find(L"B:\\a\\x", 1);
    Find(L"B:\\a\\b\\y", 10);
    Find(L"B:\\c\\z", 5);
    Find(L"B:\\w", 2);
    Find(L"D:\\none\\v", 99);
    Rows rows;
    const Estimate estimate = scanner.GetEstimate();
    for (const Estimate::Folder& row : estimate.folders)
        rows.emplace_back(row.path, row.total);
    EXPECT_EQ(rows, (Rows{{L"b:", {4, 18}}, {L"b:\\a", {2, 11}}, {L"b:\\a\\b", {1, 10}}, {L"b:\\c", {1, 5}}}));
    EXPECT_EQ(estimate.included, (SizeTotal{4, 18}));
    EXPECT_TRUE(estimate.whole);
}

TEST_F(EstimateRows, ExtensionsAreSummedLargestFirst)
{
    Add(FolderRule(L"B:\\"));
    Find(L"B:\\a.Doc", 1);
    Find(L"B:\\dir.x\\b.DOC", 2);
    Find(L"B:\\dir.x\\readme", 9);
    Find(L"B:\\.profile", 4);
    Find(L"B:\\z.aaa", 4);
    Find(L"B:\\a.zzz", 4);
    Rows rows;
    for (const Estimate::Extension& row : scanner.GetEstimate().extensions)
        rows.emplace_back(row.extension, row.total);
    EXPECT_EQ(rows,
              (Rows{{L"", {1, 9}}, {L".aaa", {1, 4}}, {L".profile", {1, 4}}, {L".zzz", {1, 4}}, {L".doc", {2, 3}}}));
}

TEST_F(EstimateRows, AFolderHasTheKindThatTakesTheMostRoomInAllOfIt)
{
    Add(FolderRule(L"B:\\"));
    Find(L"B:\\a\\x.JPG", 10);
    Find(L"B:\\a\\y.odt", 9);
    Find(L"B:\\a\\deep\\z.pdf", 2);
    Find(L"B:\\b\\x.jpg", 5);
    Find(L"B:\\b\\y.odt", 5);
    Find(L"B:\\c\\x.unknown", 100);
    std::map<std::wstring, FileKind> kinds;
    for (const Estimate::Folder& row : scanner.GetEstimate().folders)
        kinds.emplace(row.path, row.mostly);
    EXPECT_EQ(kinds.at(L"b:\\a"), FileKind::Document);
    EXPECT_EQ(kinds.at(L"b:\\a\\deep"), FileKind::Document);
    EXPECT_EQ(kinds.at(L"b:\\b"), FileKind::Document);
    EXPECT_EQ(kinds.at(L"b:\\c"), FileKind::Other);
}

TEST_F(EstimateRows, AnExtensionHasItsKind)
{
    Add(FolderRule(L"B:\\"));
    Find(L"B:\\x.JPG", 10);
    Find(L"B:\\jpg", 9);
    std::map<std::wstring, FileKind> kinds;
    for (const Estimate::Extension& row : scanner.GetEstimate().extensions)
        kinds.emplace(row.extension, row.kind);
    EXPECT_EQ(kinds, (std::map<std::wstring, FileKind>{{L".jpg", FileKind::Picture}, {L"", FileKind::Other}}));
}

TEST_F(EstimateRows, WhatIsLeftOutHasItsRule)
{
    Add(FolderRule(L"B:\\"));
    const FilterPtr users = Add(WithMask(FolderRule(L"B:\\", WatcherEnum::Exclude), L".tmp;.bak"));
    const FilterPtr products = Add(WithMask(FolderRule(L"B:\\", WatcherEnum::Exclude), L".log"));
    products->exclude = false;
    Find(L"B:\\a.tmp", 1);
    Find(L"B:\\b.bak", 2);
    Find(L"B:\\c.log", 10);
    Find(L"D:\\d", 5);
    Find(L"B:\\e", 100);
    const Estimate estimate = scanner.GetEstimate();
    ASSERT_EQ(estimate.leftOut.size(), 3u);
    const auto& rows = estimate.leftOut;
    EXPECT_EQ(rows[0].rule, products);
    EXPECT_EQ(rows[0].decision, NotIncluded);
    EXPECT_EQ(rows[0].total, (SizeTotal{1, 10}));
    EXPECT_EQ(rows[1].rule, nullptr);
    EXPECT_EQ(rows[1].total, (SizeTotal{1, 5}));
    EXPECT_EQ(rows[2].rule, users);
    EXPECT_EQ(rows[2].decision, Excluded);
    EXPECT_EQ(rows[2].total, (SizeTotal{2, 3}));
}

TEST_F(EstimateRows, AnyPathCanBeJudged)
{
    const FilterPtr include = Add(FolderRule(L"B:\\"));
    const FilterPtr exclude = Add(FolderRule(L"B:\\x\\", WatcherEnum::Exclude));
    FilterPtr deciding;
    EXPECT_EQ(scanner.Judge(L"B:\\a", &deciding), Included);
    EXPECT_EQ(deciding, include);
    EXPECT_EQ(scanner.Judge(L"B:\\x\\a", &deciding), Excluded);
    EXPECT_EQ(deciding, exclude);
    EXPECT_EQ(scanner.Judge(L"D:\\a", &deciding), NotIncluded);
    EXPECT_EQ(deciding, nullptr);
    EXPECT_EQ(scanner.Judge(L"B:\\a", nullptr), Included);
}

TEST_F(EstimateRows, TheTotalsStayAsTheyAre)
{
    Add(FolderRule(L"B:\\"));
    Find(L"B:\\a", 3);
    Find(L"B:\\a", 3);
    EXPECT_EQ(scanner.GetEstimate().included.bytes, 3u);
    EXPECT_EQ(scanner.GetTotalSize(), 6.0);
    EXPECT_FALSE(scanner.IsCalculating());
}

TEST_F(EstimateRows, ProgressCountsEachFindAndNamesTheLastFolder)
{
    Write(L"a.txt", 3);
    Write(L"d\\b.txt", 4);
    EXPECT_EQ(scanner.GetScanProgress().files, 0u);
    scanner.AddPath(Tree(), true);
    ScanProgress progress = scanner.GetScanProgress();
    EXPECT_EQ(progress.files, 2u);
    EXPECT_EQ(progress.bytes, 7u);
    EXPECT_EQ(progress.folders, 2u);
    EXPECT_EQ(progress.folder, Tree(L"d\\"));
    EXPECT_TRUE(scanner.ScanPath(Tree(), true));
    progress = scanner.GetScanProgress();
    EXPECT_EQ(progress.files, 4u);
    EXPECT_EQ(progress.drives, 0);
}

// As a walk tells it that meets them.
TEST(ScanTallies, WhatCannotBeReadIsListedOnceUntilItCanBe)
{
    FakeDisk disk;
    disk.AddFolder(L"C:\\a");
    disk.AddFolder(L"C:\\a\\denied");
    disk.AddFolder(L"C:\\a\\torn");
    disk.listErrors[L"C:\\a\\denied\\"] = ERROR_ACCESS_DENIED;
    disk.lateErrors[L"C:\\a\\torn\\"] = ERROR_CRC;
    ScanTally tally;
    const auto walk = [&] {
        OrbFilter filter;
        Scanner caller;
        WalkOptions options;
        options.observer = &tally;
        EXPECT_TRUE(DirectoryWalk(FilterAccess::MemoryOf(filter), disk, &caller, options).WalkTree(L"C:\\a"));
        std::map<std::wstring, PathOutcome> paths;
        for (const PassedOverPath& path : tally.ReadPassedOver())
            paths[std::wstring(path.path)] = path.why;
        return paths;
    };
    const std::map<std::wstring, PathOutcome> both = {{L"C:\\a\\denied\\", PathOutcome::Unreadable},
                                                      {L"C:\\a\\torn\\", PathOutcome::Unreadable}};
    EXPECT_EQ(walk(), both);
    EXPECT_EQ(walk(), both);
    disk.listErrors.clear();
    EXPECT_EQ(walk().size(), 1u);
    EXPECT_EQ(tally.Read().folders, 9u);
}

TEST_F(EstimateRows, EveryWayOfScanningListsWhatItPassesOver)
{
    Write(L"hidden\\a.txt", 3);
    ASSERT_TRUE(SetFileAttributesW(Tree(L"hidden"), FILE_ATTRIBUTE_HIDDEN));
    const CString circle = folder.Path(L"circle");
    ASSERT_TRUE(MakeLink(circle.GetString(), circle.GetString())); // no account can open it
    const auto passedOver = [&] {
        std::map<std::wstring, PathOutcome> paths;
        for (const PassedOverPath& path : scanner.GetPassedOver())
            paths[std::wstring(path.path)] = path.why;
        return paths;
    };
    std::map<std::wstring, PathOutcome> expected = {{std::wstring(Tree(L"hidden\\")), PathOutcome::Hidden}};
    scanner.AddPath(Tree(), true);
    EXPECT_EQ(passedOver(), expected);
    expected[std::wstring(circle + L'\\')] = PathOutcome::Unreadable;
    Configure(FolderItem(Tree()) + FolderItem(circle));
    scanner.Start();
    EXPECT_EQ(passedOver(), expected);
    expected[L"B:\\none"] = PathOutcome::Missing;
    EXPECT_TRUE(scanner.ScanPath(L"B:\\none", false));
    EXPECT_EQ(passedOver(), expected);
    EXPECT_TRUE(RemoveLink(circle.GetString()));
}

} // namespace
