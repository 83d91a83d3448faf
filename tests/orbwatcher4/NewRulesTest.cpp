// Adding rules while the watcher runs.
#include "tests/orbwatcher4/WatcherFixture.h"

namespace
{

class NewRules : public WatcherFixture
{
protected:
    NewRules() { Select(""); }
    CString Rules(const std::string& items) { return WriteRules(L"new.xml", items); }
    static bool Exists(const CString& path) { return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES; }
    std::string Exclusion(const std::wstring& extra = L"")
    {
        return Item(L"path=\"" + std::wstring(tree) + L"\\out\" type=\"1\" includeSub=\"1\" exclude=\"1\" " + extra);
    }
};

TEST_F(NewRules, AnIncludeRuleQueuesItsFolderWithTheWholeSubtree)
{
    const CString file = Write(L"sub\\f.txt");
    EXPECT_EQ(watcher.AddNewQueueItem(Rules(TreeItem()), false, nullptr, 0), RulesQueued);
    EXPECT_TRUE(Pending(file));
    EXPECT_TRUE(Pending(InTree(L"")));
}

TEST_F(NewRules, MergeOnlyAddsTheRulesInOrderAndQueuesNothing)
{
    Write(L"f.txt");
    EXPECT_EQ(watcher.AddNewQueueItem(Rules(TreeItem() + Exclusion()), false, nullptr, 1), RulesQueued);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
    EXPECT_EQ(watcher.Explain(InTree(L"out\\f.txt")).decision, Excluded);
    EXPECT_EQ(watcher.Explain(InTree(L"f.txt")).decision, Included);
}

TEST_F(NewRules, AMissingFileIsReportedAndLeavesEverything)
{
    EXPECT_EQ(watcher.AddNewQueueItem(folder.Path(L"missing.xml"), true, nullptr, 0), RulesNotLoaded);
}

TEST_F(NewRules, AnUnreadableFileIsDeletedWhenAskedTo)
{
    folder.WriteBytes(L"new.xml", "<Data><Item");
    EXPECT_EQ(watcher.AddNewQueueItem(folder.Path(L"new.xml"), false, nullptr, 0), RulesNotLoaded);
    EXPECT_TRUE(Exists(folder.Path(L"new.xml")));
    EXPECT_EQ(watcher.AddNewQueueItem(folder.Path(L"new.xml"), true, nullptr, 0), RulesNotLoaded);
    EXPECT_FALSE(Exists(folder.Path(L"new.xml")));
}

TEST_F(NewRules, AGoodFileIsDeletedWhenAskedTo)
{
    const CString rules = Rules(TreeItem());
    EXPECT_EQ(watcher.AddNewQueueItem(rules, true, nullptr, 0), RulesQueued);
    EXPECT_FALSE(Exists(rules));
}

TEST_F(NewRules, ExclusionsAreReportedAndTheirFileIsNeverDeleted)
{
    std::vector<ExcludedInfo> excluded;
    const CString rules = Rules(Exclusion());
    EXPECT_EQ(watcher.AddNewQueueItem(rules, true, &excluded, 0), ExclusionsFound);
    EXPECT_TRUE(Exists(rules));
    ASSERT_EQ(excluded.size(), 1u);
    EXPECT_EQ(excluded[0].kind, 1);
    EXPECT_EQ(excluded[0].path, InTree(L"out\\"));
}

TEST_F(NewRules, AnExclusionWithAMaskIsNotReported)
{
    std::vector<ExcludedInfo> excluded;
    EXPECT_EQ(watcher.AddNewQueueItem(Rules(Exclusion(L"mask=\".tmp\"")), false, &excluded, 0), RulesQueued);
    EXPECT_TRUE(excluded.empty());
}

TEST_F(NewRules, ARuleThatContradictsAHeldOneIsNotAccepted)
{
    Select(TreeItem());
    const std::string opposite =
        Item(L"path=\"" + std::wstring(tree) + L"\" type=\"1\" includeSub=\"1\" exclude=\"1\"");
    EXPECT_EQ(watcher.AddNewQueueItem(Rules(opposite), false, nullptr, 0), RulesQueued);
    EXPECT_EQ(watcher.Explain(Write(L"f.txt")).decision, Included);
}

} // namespace
