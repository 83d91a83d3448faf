// Every operation of the filter and of the estimator with memory refused at each of its calls: no exception leaves it,
// what says that it failed has changed nothing, and the next call works.
#include "orbwatcher4/Scanner.h"
#include "tests/faults/FaultPlan.h"
#include "tests/filter/FolderRule.h"
#include "tests/orbwatcher4/WatcherFixture.h"

#include <functional>
#include <optional>

namespace
{

class Nothing final : public SmartScanCaller
{
public:
    void FileFoundCallback(const wchar_t*, unsigned __int64) override {}
    bool ProgressCallback() override { return true; }
    void FolderFoundCallback(const wchar_t*) override {}
};

class WithoutMemory : public WatcherFixture
{
protected:
    struct Case {
        std::function<void()> prepare; // the same state each time
        std::function<void()> run;     // takes no memory of its own
        std::function<void()> check = [] {};
    };

    // Refuses the first request, then the second one, until the operation comes to its end without meeting one.
    static void Try(const char* name, const Case& operation)
    {
        constexpr int Most = 5000;
        for (const auto lasting : {FaultPlan::Lasting::Once, FaultPlan::Lasting::FromThenOn})
            for (int call = 1;; ++call) {
                SCOPED_TRACE(std::string(name) + ", request " + std::to_string(call));
                ASSERT_LT(call, Most);
                operation.prepare();
                bool threw = false;
                bool reached = false;
                {
                    const FaultPlan plan(Faults::Memory(), call, lasting);
                    try {
                        operation.run();
                    } catch (...) {
                        threw = true;
                    }
                    reached = FaultPlan::WasReached();
                }
                ASSERT_FALSE(threw);
                operation.check();
                if (!reached || HasFatalFailure())
                    break;
            }
    }

    CString selection = WriteRules(L"data.xml", TreeItem());
    CString advanced = WriteRules(L"advanced.xml", Item(L"path=\"$$ALLPATHS$$\" mask=\"*.tmp\" exclude=\"1\""));
    CString tree = Write(L"deep\\file.txt");
};

class FilterWithoutMemory : public WithoutMemory
{
protected:
    void Prepare()
    {
        filter.emplace();
        filter->SetIncludeRoots({L"C:\\users\\"});
        filter->AddSingleFilter(FolderRule(L"C:\\docs\\"), true);
        filter->AddSingleFilter(FolderRule(L"C:\\docs\\out\\", WatcherEnum::Exclude), true);
        filter->AddAdvancedFilter(FolderRule(L"C:\\docs\\tmp\\", WatcherEnum::Exclude), true);
        before = filter->AllRules();
        done = true;
    }
    // An edit is made or not, as it says.
    void TryEdit(const char* name, const std::function<bool()>& edit)
    {
        Try(name,
            {[this] { Prepare(); }, [&] { done = edit(); },
             [this, name] {
                 EXPECT_EQ(done, filter->AllRules() != before) << name;
                 EXPECT_TRUE(done || filter->CheckForInclusion(L"C:\\docs\\a", nullptr, false, false) == Included);
             }});
    }
    void TryQuestion(const char* name, const std::function<void()>& question)
    {
        Try(name, {[this] { Prepare(); }, question, [this] { EXPECT_EQ(filter->AllRules(), before); }});
    }

    std::optional<OrbFilter> filter;
    FilterList before;
    bool done = true;
    const FilterPtr other = FolderRule(L"D:\\docs\\");
    const FilterPtr wholeDrive = FolderRule(L"C:\\");
};

TEST_F(FilterWithoutMemory, ARuleIsAddedOrNot)
{
    TryEdit("in order", [this] { return filter->AddSingleFilter(other, true); });
    TryEdit("behind", [this] { return filter->AddSingleFilter(other, false); });
    TryEdit("with its copies", [this] { return filter->AddSingleFilter(wholeDrive, true); });
}

TEST_F(FilterWithoutMemory, AnAdvancedRuleIsAddedOrNot)
{
    const FilterPtr rule = FolderRule(L"E:\\x\\", WatcherEnum::Exclude);
    const CString path = L"E:\\x\\y";
    InclusionType answer = Included;
    Try("advanced", {[this] { Prepare(); }, [&] { done = filter->AddAdvancedFilter(rule, true); },
                     [&] {
                         answer = filter->CheckForAdvancedInclusion(path);
                         EXPECT_EQ(answer, done ? Excluded : Included);
                     }});
}

TEST_F(FilterWithoutMemory, RulesOfADriveAreMovedOrNot)
{
    TryEdit("moved", [this] { return filter->MoveDriveRules(L"C:\\", L"F:\\"); });
}

TEST_F(FilterWithoutMemory, ARuleIsRemovedOrNot)
{
    TryEdit("removed", [this] { return filter->RemoveSingleFilter(before.front(), true, false); });
}

TEST_F(FilterWithoutMemory, ChecksErrOnTheSafeSide)
{
    FilterList matched;
    TryQuestion("check",
                [&] { EXPECT_EQ(filter->CheckForInclusion(L"C:\\docs\\a", &matched, true, false), Included); });
    TryQuestion("check with the index", [&] { filter->CheckForInclusion(L"C:\\docs\\a", &matched, true, true); });
    TryQuestion("advanced", [&] { EXPECT_EQ(filter->CheckForAdvancedInclusion(L"C:\\docs\\a"), Included); });
    TryQuestion("one advanced rule", [&] { filter->CheckForAdvancedInclusionEx(L"C:\\docs\\a", other); });
    TryQuestion("below", [&] { EXPECT_TRUE(filter->MaySelectBelow(L"C:\\docs")); });
    TryQuestion("drive", [&] { EXPECT_TRUE(filter->IsDriveIncludeRules(L"C:\\docs\\a")); });
    TryQuestion("files only", [&] { EXPECT_FALSE(filter->IsDriveIncludeOnlyFiles(L"C:\\docs\\a")); });
    TryQuestion("conflict", [&] { filter->CheckRuleNoConflict(other); });
    TryQuestion("rights", [&] { filter->IsSkipAdvancedFilterCheck(L"C:\\docs\\a", {}); });
}

TEST_F(FilterWithoutMemory, ListsAreWholeOrEmpty)
{
    std::size_t count = 0;
    const auto tryList = [&](const char* name, std::size_t whole, const std::function<std::size_t()>& list) {
        Try(name, {[this] { Prepare(); }, [&] { count = list(); },
                   [&] { EXPECT_TRUE(count == 0 || count == whole) << count; }});
    };
    tryList("drives", 1, [this] { return filter->GenerateDriveList().size(); });
    tryList("folders", 1, [this] { return filter->GenerateDirectoryList(L"C:\\", WatcherEnum::Include).size(); });
    tryList("files", 0, [this] { return filter->GenerateFileList(L"C:\\", WatcherEnum::Include).size(); });
    tryList("rules", 2, [this] { return filter->RulesOf(L"C:\\").size(); });
    tryList("all rules", 2, [this] { return filter->AllRules().size(); });
    tryList("flagged", 0, [this] { return filter->RulesWith(1).size(); });
    tryList("to scan", 1, [this] { return filter->CollectScanLists(L"C:\\").roots.size(); });
    tryList("root", 3, [] { return static_cast<std::size_t>(OrbFilter::StripToRoot(L"C:\\docs").GetLength()); });
    std::vector<CString> files;
    tryList("explicit files", 0, [&] {
        filter->GetExplicitFiles(L"C:\\", files);
        return files.size();
    });
    ExtensionMap map;
    tryList("endings", 0, [&] {
        filter->GenerateExtensionMap(map);
        return map.size();
    });
}

TEST_F(FilterWithoutMemory, ASelectionIsLoadedOrNot)
{
    Try("loading",
        {[this] { filter.emplace(); }, [this] { done = filter->LoadXmlFilters(selection, nullptr, advanced); },
         [this] {
             EXPECT_TRUE(!done || filter->HasRules());
             EXPECT_TRUE(filter->LoadXmlFilters(selection, nullptr, advanced));
         }});
}

TEST_F(FilterWithoutMemory, AWalkComesToItsEndOrSaysThatItDidNot)
{
    Nothing caller;
    const CString folder = InTree(L"");
    Try("folder", {[this] { Prepare(); }, [&] { filter->ScanDirectory(folder, L"*", false, &caller, true); }});
    Try("everything",
        {[this] { Prepare(); }, [&] { filter->SmartScanDirectory(folder, L"*", false, &caller, nullptr, true); }});
    Try("selection",
        {[this] { Prepare(); }, [&] { filter->SmartScanDirectory(folder, L"*", false, &caller, nullptr, false); }});
    CString path = L"C:\\docs\\a";
    Try("junction", {[this] { Prepare(); }, [&] { filter->UpdateJunctionDestination(path); }});
    Try("forgetting", {[this] { Prepare(); }, [&] { filter->ClearJunctionCache(); }});
    Try("order", {[this] { Prepare(); },
                  [&] {
                      filter->Sort();
                      filter->SortAdvancedFilters();
                      filter->UpdateFilterProfileIDs(1, 2);
                  },
                  [this] { EXPECT_EQ(filter->AllRules(), before); }});
}

class ScannerWithoutMemory : public WithoutMemory
{
protected:
    void Prepare()
    {
        scanner.emplace();
        scanner->SetBasicInfo(selection, nullptr, nullptr);
        scanner->Start();
        paths = {folder};
    }
    void Try(const char* name, const std::function<void()>& run)
    {
        WithoutMemory::Try(name, {[this] { Prepare(); }, run,
                                  [this] {
                                      scanner->WaitForScans();
                                      EXPECT_FALSE(scanner->GetTotalSize() < 0);
                                  }});
    }

    const CString folder = InTree(L"");
    std::vector<CString> paths;
    std::optional<Scanner> scanner;
};

TEST_F(ScannerWithoutMemory, NoOperationThrows)
{
    Try("configuration", [this] { scanner->SetBasicInfo(L"C:\\a\\selection.xml", L"b", L"c"); });
    Try("adding", [this] { scanner->AddPath(folder, true); });
    Try("adding several", [this] { scanner->AddPath(std::move(paths), true); });
    Try("removing", [this] { scanner->RemovePath(folder, true); });
    Try("removing several", [this] { scanner->RemovePath(std::move(paths), true); });
    Try("adding a profile", [this] { scanner->AddProfile(0); });
    Try("removing a profile", [this] { scanner->RemoveProfile(0); });
    Try("editing a profile", [this] { scanner->EditProfile(0, L".doc", paths); });
    Try("mask", [this] { scanner->SetFileFolderFilter(L".tmp"); });
    Try("scanning", [this] { scanner->ScanPath(folder, true); });
    Try("a file found", [this] { scanner->FileFoundCallback(L"C:\\new\\file", 1); });
    Try("judging", [this] { scanner->Judge(folder, nullptr); });
    Try("files", [this] { scanner->ForEachFile([](const JudgedFile&) {}); });
    Try("estimate", [this] { scanner->GetEstimate(); });
    Try("progress", [this] { scanner->GetScanProgress(); });
    Try("passed over", [this] { scanner->GetPassedOver(); });
    Try("stop", [this] { scanner->Stop(); });
}

TEST_F(ScannerWithoutMemory, AStartAndARecountThatFailLeaveTheNextOneWhole)
{
    const auto count = [this] {
        scanner->AddProfile(0);
        scanner->UpdateTotals();
        return scanner->GetTotalSize();
    };
    Prepare();
    const double whole = count();
    ASSERT_GT(whole, 0);
    WithoutMemory::Try("start", {[this] { Prepare(); }, [this] { scanner->Start(); },
                                 [&] {
                                     scanner->Start();
                                     EXPECT_EQ(count(), whole);
                                 }});
    WithoutMemory::Try("recount", {[&] { Prepare(), count(); }, [this] { scanner->UpdateTotals(); },
                                   [&] {
                                       EXPECT_FALSE(scanner->IsCalculating());
                                       scanner->UpdateTotals();
                                       EXPECT_EQ(scanner->GetTotalSize(), whole);
                                   }});
}

} // namespace
