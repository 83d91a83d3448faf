// Adding rules while the watcher runs.
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/support/ImportedCall.h"

#include <thread>

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

// Another thread judges a path while this thread replaces a file, or reads the volumes of the drives for the rules.
class OtherThreadJudges
{
public:
    enum class While { Replacing, ReadingVolumes };

    OtherThreadJudges(COrbWatcher& watcher, const CString& path, While when)
    {
        s_when = when;
        s_judge = [this, &watcher, path] {
            ++m_asked;
            std::thread thread([this, &watcher, path] {
                watcher.Explain(path);
                m_judged.SetEvent();
            });
            constexpr DWORD longest = 10000; // milliseconds; only a failure takes them
            m_waited = m_waited || !m_judged.Lock(longest);
            m_threads.push_back(std::move(thread));
        };
    }
    ~OtherThreadJudges()
    {
        s_judge = nullptr;
        for (std::thread& thread : m_threads)
            thread.join();
    }
    // Returns true when it judged each time, and never had to wait for this thread.
    bool Succeeded() const { return m_asked > 0 && !m_waited; }

private:
    static void Judge(While when)
    {
        if (when != s_when)
            return;
        if (const auto judge = std::exchange(s_judge, nullptr)) {
            judge();
            s_judge = judge;
        }
    }
    static BOOL WINAPI Replace(const wchar_t* target, const wchar_t* draft, const wchar_t* kept, DWORD flags, void* a,
                               void* b)
    {
        Judge(While::Replacing);
        return SystemFunction<decltype(ReplaceFileW)>("ReplaceFileW")(target, draft, kept, flags, a, b);
    }
    static BOOL WINAPI Volume(const wchar_t* root, wchar_t* label, DWORD labelSize, DWORD* serial, DWORD* longest,
                              DWORD* flags, wchar_t* system, DWORD systemSize)
    {
        Judge(While::ReadingVolumes);
        return SystemFunction<decltype(GetVolumeInformationW)>("GetVolumeInformationW")(
            root, label, labelSize, serial, longest, flags, system, systemSize);
    }

    static inline std::function<void()> s_judge;
    static inline While s_when{};
    int m_asked = 0;
    bool m_waited = false;
    CEvent m_judged;
    std::vector<std::thread> m_threads;
    const ImportedCall m_replace{nullptr, "ReplaceFileW", &Replace};
    const ImportedCall m_volume{nullptr, "GetVolumeInformationW", &Volume};
};

TEST_F(NewRules, LetOtherThreadsJudgeWhileTheyAreMerged)
{
    const CString rules = Rules(TreeItem());
    OtherThreadJudges other(watcher, InTree(L"a.txt"), OtherThreadJudges::While::Replacing);
    EXPECT_EQ(watcher.AddNewQueueItem(rules, false, nullptr, 1), RulesQueued);
    EXPECT_TRUE(other.Succeeded());
}

TEST_F(NewRules, LetOtherThreadsJudgeWhileTheyAreRead)
{
    const CString rules = Rules(TreeItem());
    OtherThreadJudges other(watcher, InTree(L"a.txt"), OtherThreadJudges::While::ReadingVolumes);
    EXPECT_EQ(watcher.AddNewQueueItem(rules, false, nullptr, 1), RulesQueued);
    EXPECT_TRUE(other.Succeeded());
}

TEST_F(NewRules, LetOtherThreadsJudgeWhileTheSelectionIsLoaded)
{
    Select(TreeItem());
    OtherThreadJudges other(watcher, InTree(L"a.txt"), OtherThreadJudges::While::ReadingVolumes);
    EXPECT_TRUE(Parts().LoadSelection());
    EXPECT_TRUE(other.Succeeded());
}

// The disk refuses to replace the selection. Meanwhile the watcher hears of a changed file.
class RefusedMerge
{
public:
    RefusedMerge(ChangeHandler& handler, const CString& file)
    {
        s_handler = &handler;
        s_file = file;
    }

private:
    static BOOL WINAPI Refuse(const wchar_t*, const wchar_t*, const wchar_t*, DWORD, void*, void*)
    {
        s_handler->OnFileAdded(s_file);
        SetLastError(ERROR_DISK_FULL);
        return FALSE;
    }

    static inline ChangeHandler* s_handler = nullptr;
    static inline CString s_file;
    const ImportedCall m_replace{nullptr, "ReplaceFileW", &Refuse};
};

TEST_F(NewRules, ThatAreRefusedSelectNothingWhileTheyAreMerged)
{
    const CString rules = Rules(TreeItem()), file = Write(L"a.txt");
    const RefusedMerge refused(Handler(), file);
    EXPECT_EQ(watcher.AddNewQueueItem(rules, false, nullptr, 1), RulesNotLoaded);
    EXPECT_FALSE(Pending(file));
}

TEST_F(NewRules, ThatAreRefusedHideNoChangeWhileTheyAreMerged)
{
    Select(TreeItem());
    const CString rules = Rules(Exclusion()), file = Write(L"out\\a.txt");
    const RefusedMerge refused(Handler(), file);
    EXPECT_EQ(watcher.AddNewQueueItem(rules, false, nullptr, 1), RulesNotLoaded);
    EXPECT_TRUE(Pending(file));
}

TEST_F(NewRules, OfOneFileThatContradictEachOtherAreTakenInTheirOrder)
{
    const std::string item = TreeItem(), opposite = Item(L"path=\"" + std::wstring(tree) +
                                                         L"\" type=\"1\" includeSub=\"1\" exclude=\"1\"");
    EXPECT_EQ(watcher.AddNewQueueItem(Rules(item + opposite), false, nullptr, 1), RulesQueued);
    EXPECT_EQ(watcher.Explain(InTree(L"f.txt")).decision, Included);
}

TEST_F(NewRules, LetOtherThreadsJudgeWhileAWatchBegins)
{
    Select(TreeItem());
    {
        OtherThreadJudges other(watcher, InTree(L"a.txt"), OtherThreadJudges::While::ReadingVolumes);
        watcher.StartWatch();
        EXPECT_TRUE(other.Succeeded());
    }
    watcher.AbortWatching();
}

} // namespace
