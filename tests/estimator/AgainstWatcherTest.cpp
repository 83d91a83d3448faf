// An estimate counts what an enumeration queues, file by file, but for what each of them is meant to see otherwise.
#include "support/SystemPath.h"
#include "tests/estimator/ScannerFixture.h"
#include "tests/orbwatcher4/WatcherFixture.h"

#include <iostream>
#include <random>

namespace
{

class AgainstWatcher : public WatcherFixture
{
protected:
    AgainstWatcher() { watcher.UpdateThreadsPriority(CPUSpeedFull); }

    std::string Rule(const wchar_t* name, const wchar_t* more = L"")
    {
        return Item(L"path=\"" + std::wstring(InTree(name)) + L"\" type=\"1\" " + more);
    }
    std::string FileRule(const wchar_t* name, const wchar_t* more = L"")
    {
        return Item(L"path=\"" + std::wstring(InTree(name)) + L"\" " + more);
    }
    // The files of one folder: every ending that some rule speaks of, and hidden ones.
    void Fill(const std::wstring& name, std::mt19937& random)
    {
        static const wchar_t* const endings[] = {L".txt", L".TMP", L".bak", L".old", L".jpg", L".doc", L".log", L""};
        for (const wchar_t* ending : endings)
            for (const wchar_t* stem : {L"one", L"two", L"\u00C4\u00DF"}) {
                const CString file = Write(name + L"\\" + stem + ending, std::string(random() % 50, 'x'));
                if (random() % 8 == 0)
                    SetFileAttributesW(file, FILE_ATTRIBUTE_HIDDEN);
            }
    }
    // Folders inside each other, some of them hidden.
    void Grow(const std::wstring& name, int depth, std::mt19937& random)
    {
        Fill(name, random);
        for (const wchar_t* child : {L"A", L"b", L"excluded", L"kept"})
            if (depth > 0) {
                Grow(name + L"\\" + child, depth - 1, random);
                if (random() % 12 == 0)
                    SetFileAttributesW(InTree(name + L"\\" + child), FILE_ATTRIBUTE_HIDDEN);
            }
    }

    // Of files alone, in lower case.
    std::set<std::wstring> QueuedFiles()
    {
        EXPECT_EQ(watcher.StartFirstTimeRun(0), 1);
        WatcherAccess::Parts(watcher).enumerator.EndRuns();
        std::set<std::wstring> files;
        for (const std::wstring& path : Drain())
            if (!(GetFileAttributesW(path.c_str()) & FILE_ATTRIBUTE_DIRECTORY))
                files.insert(Lower(path));
        return files;
    }
    std::set<std::wstring> EstimatedFiles(const std::vector<int>& profiles)
    {
        Scanner scanner(folder.Path(L"data.xml"), folder.Path(L"auto.xml"), L"");
        scanner.Start();
        scanner.AddProfile(profiles);
        std::set<std::wstring> files;
        std::uint64_t bytes = 0;
        EXPECT_TRUE(scanner.ForEachFile([&](const JudgedFile& file) {
            if (file.decision != Included)
                return;
            files.insert(std::wstring(file.path));
            bytes += file.size;
        }));
        scanner.UpdateTotals();
        EXPECT_EQ(scanner.GetTotalSize(), static_cast<double>(bytes));
        return files;
    }
    static std::wstring Lower(const std::wstring& path)
    {
        const FSEntrySetPtr set = MakeEntrySet();
        InsertFile(set, path.c_str(), 0);
        EntryWalk walk(set, nullptr);
        while (walk.Next() != EntryWalk::Step::File) {
        }
        return std::wstring(walk.Path());
    }
};

TEST_F(AgainstWatcher, TheyDifferInHiddenFilesAdvancedRulesAndOverlongPathsAlone)
{
    std::mt19937 random(4);
    for (const wchar_t* name : {L"whole", L"flat", L"split", L"masked", L"unselected", L"hidden too"})
        Grow(name, 2, random);
    Write(L"whole\\" + std::wstring(150, L'n') + L"\\" + std::wstring(150, L'n') + L".txt");
    watcher.SetDataXMLFiles(
        WriteRules(L"data.xml",
                   Rule(L"whole", L"includeSub=\"1\" pluginId=\"1\"") +
                       Rule(L"whole\\excluded", L"includeSub=\"1\" pluginId=\"1\" exclude=\"1\"") +
                       Rule(L"whole\\excluded\\kept", L"includeSub=\"1\" pluginId=\"2\"") +
                       Rule(L"whole\\A", L"includeSub=\"1\" pluginId=\"1\" exclude=\"1\" mask=\".TMP;.log\"") +
                       Rule(L"whole\\b", L"pluginId=\"1\" exclude=\"1\"") + // its own files alone
                       FileRule(L"whole\\one.txt", L"exclude=\"1\" pluginId=\"1\"") + Rule(L"flat", L"pluginId=\"2\"") +
                       Rule(L"split", L"includeSub=\"1\" pluginId=\"3\" masktype=\"2\" mask=\".doc\"") +
                       Rule(L"split\\A", L"includeSub=\"1\" pluginId=\"3\" PRMask=\".txt;.jpg\"") +
                       Rule(L"masked", L"includeSub=\"1\" pluginId=\"3\" mask=\".doc;.jpg;.old\"") +
                       FileRule(L"unselected\\kept\\two.old", L"pluginId=\"3\"") +
                       FileRule(L"unselected\\gone.txt", L"pluginId=\"3\"") +
                       Rule(L"hidden too", L"includeSub=\"1\" pluginId=\"3\" flags=\"16384\"")),
        WriteRules(L"auto.xml", Rule(L"", L"includeSub=\"1\" exclude=\"1\" mask=\".bak\"") +
                                    Rule(L"whole\\kept\\excluded", L"includeSub=\"1\" exclude=\"1\"")),
        WriteRules(L"advanced.xml",
                   Rule(L"whole", L"includeSub=\"1\" exclude=\"1\" mask=\"*.old\"") +
                       Item(L"path=\"$$ALLPATHS$$\" exclude=\"1\" isregex=\"1\" mask=\"one\\.jpg$\"")));
    ASSERT_TRUE(watcher.LoadSelection());

    const std::set<std::wstring> queued = QueuedFiles(), estimated = EstimatedFiles({1, 2, 3});
    std::map<std::string, int> differ;
    for (const std::wstring& path : estimated) {
        if (queued.contains(path))
            continue;
        const CString file = path.c_str();
        const DWORD attributes = GetFileAttributesW(SystemPath(file));
        ASSERT_NE(attributes, INVALID_FILE_ATTRIBUTES) << Narrow(path);
        if (path.size() > 260)
            ++differ["overlong"];
        else if (attributes & FILE_ATTRIBUTE_HIDDEN)
            ++differ["hidden"];
        else if (Parts().selection.primary.CheckForAdvancedInclusion(file) != Included)
            ++differ["advanced"];
        else
            ADD_FAILURE() << Narrow(path) << " is estimated and not queued";
    }
    for (const std::wstring& path : queued)
        EXPECT_TRUE(estimated.contains(path)) << Narrow(path) << " is queued and not estimated";
    const auto told = [&](const char* reason) {
        RecordProperty(reason, differ[reason]);
        std::cout << reason << ": " << differ[reason] << " of " << estimated.size() << " estimated files\n";
        return differ[reason];
    };
    EXPECT_GT(queued.size(), 500u);
    EXPECT_GT(told("hidden"), 20);
    EXPECT_GT(told("advanced"), 20);
    EXPECT_EQ(told("overlong"), 1);
}

} // namespace
