// A user's token that the system refuses: the service must not go on with its own rights, because it could see and
// delete more.
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/pending/DumpFile.h"
#include "support/Handle.h"
#include "tests/orbwatcher4/WatcherFixture.h"

#include <functional>

namespace
{

class RefusedToken : public WatcherFixture
{
protected:
    RefusedToken() { SelectTree(); }
    // An event is not a token.
    void Refuse() { watcher.SetUserToken(m_noToken.Get()); }
    void Grant() { watcher.SetUserToken(nullptr); }

    // Returns whether a full enumeration has become due since the last call.
    static bool HasBecomeDue()
    {
        CSettings& settings = GetServiceRunSettings();
        settings.Load();
        const bool due = settings.GetValue(L"Backup::FirstTimeRunTime", 1) == 0;
        settings.SetValue(L"Backup::FirstTimeRunTime", 1);
        settings.Save();
        return due;
    }

private:
    const KernelHandle m_noToken{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

TEST_F(RefusedToken, HandsNothingOut)
{
    const CString path = Write(L"a.txt");
    Handler().OnFileAdded(path);
    Refuse();
    EXPECT_TRUE(Drain().empty());
    EXPECT_TRUE(Pending(path));
    EXPECT_TRUE(log.Has(L"Failed to impersonate user"));
    Grant();
    EXPECT_EQ(Drain().size(), 1u);
}

TEST_F(RefusedToken, MakesAnEnumerationDueInPlaceOfEachChange)
{
    const CString path = Write(L"a.txt");
    HasBecomeDue();
    Refuse();
    Handler().OnFileAdded(path);
    EXPECT_FALSE(Pending(path)) << "nobody knows what the user may see";
    EXPECT_TRUE(HasBecomeDue());
    Parts().due.FullBegins();
    watcher.AddSingleNotification(path);
    EXPECT_FALSE(Pending(path));
    EXPECT_TRUE(HasBecomeDue());
}

TEST_F(RefusedToken, EnumeratesNothing)
{
    const CString path = Write(L"a.txt");
    Refuse();
    EXPECT_FALSE(watcher.FirstRun(L"c:\\"));
    EXPECT_FALSE(Pending(path));
    Grant();
    EXPECT_TRUE(watcher.FirstRun(L"c:\\"));
    EXPECT_TRUE(Pending(path));
}

TEST_F(RefusedToken, RecordsNoDeletion)
{
    const CString path = Write(L"a.txt");
    RecordWithTime(path, 1);
    watcher.SetIndexDB(folder.Path(L"index.db"));
    watcher.SetDestBackupFolderDB(folder.Path(L"destination"));
    int told = 0;
    watcher.SetDeletionListener([&](const DeletionRecord&) { ++told; });
    DeleteFileW(path);
    Handler().OnFileRemoved(path);
    Refuse();
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(told, 0);
    EXPECT_TRUE(Pending(path));
    Grant();
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(told, 1);
}

TEST_F(RefusedToken, LeavesTheDumpWhereItIs)
{
    const CString path = Write(L"a.txt");
    Handler().OnFileAdded(path);
    Parts().due.BeginRun();
    watcher.DeInit();
    watcher.SetDataXmlPath(folder.Path(L"data.xml"));
    Refuse();
    watcher.Resume();
    EXPECT_TRUE(DumpExists());
    EXPECT_FALSE(Pending(path));
    Grant();
    watcher.Resume();
    EXPECT_FALSE(DumpExists());
    EXPECT_TRUE(Pending(path));
}

TEST_F(RefusedToken, TakesNewRulesAndMakesTheirFilesDue)
{
    const CString path = folder.Path(L"elsewhere\\a.txt");
    folder.WriteBytes(L"elsewhere\\a.txt", "x");
    HasBecomeDue();
    Refuse();
    const CString rules = WriteRules(
        L"new.xml", Item(L"path=\"" + std::wstring(folder.Path(L"elsewhere")) + L"\" type=\"1\" includeSub=\"1\""));
    EXPECT_EQ(watcher.AddNewQueueItem(rules, false, nullptr, 0), RulesQueued);
    EXPECT_FALSE(Pending(path));
    EXPECT_TRUE(HasBecomeDue());
}

// A clock that calls a function when the seconds are asked for.
class ClockThatCalls : public TestClock
{
public:
    explicit ClockThatCalls(std::function<void()> call) : m_call(std::move(call)) {}
    std::int64_t Seconds() const override
    {
        m_call();
        return TestClock::Seconds();
    }

private:
    const std::function<void()> m_call;
};

// One thread reports changes to all watchers of the process.
class TwoUsers : public WatcherFixture
{
};

TEST_F(TwoUsers, AWatcherWithoutAUserTakesItsChangesInWithTheRightsOfTheProcess)
{
    HANDLE process = nullptr, user = nullptr;
    ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_DUPLICATE | TOKEN_QUERY, &process));
    const KernelHandle ownedProcess(process);
    ASSERT_TRUE(DuplicateToken(process, SecurityImpersonation, &user));
    const KernelHandle ownedUser(user);
    SelectTree();
    COrbWatcher other{false};
    other.SetUserToken(user);
    WatcherAccess::Handler(other).OnWatchStarted(ERROR_SUCCESS, L"C:\\"); // on the notifier, which is this thread here
    const auto acts = [] {
        HANDLE token = nullptr;
        const bool opened = OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token) != FALSE;
        return KernelHandle(token) && opened;
    };
    ASSERT_TRUE(acts());
    bool actedFor = true;
    const ClockThatCalls calling([&] { actedFor = acts(); });
    Parts().config.clock = &calling;
    RecordWithTime(Write(L"a.txt"), 1, 0, 5); // its delay ended long ago: the watcher asks the clock
    Handler().OnFileModified(InTree(L"a.txt"));
    Parts().config.clock = &clock;
    EXPECT_FALSE(actedFor);
    EXPECT_TRUE(acts()) << "the other watcher's user comes back";
    RevertToSelf();
}

} // namespace
