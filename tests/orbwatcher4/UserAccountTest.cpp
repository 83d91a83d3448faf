// The watcher looks at the user's files with the user's rights, and at its own with those of the process.
#include "tests/orbwatcher4/LoopFixture.h"
#include "tests/support/ImportedCall.h"

#include <atomic>

namespace
{

bool ActsForSomebody()
{
    HANDLE token = nullptr;
    const bool opened = OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token) != FALSE;
    return KernelHandle(token) && opened;
}

class UserAccount : public LoopFixture
{
protected:
    UserAccount()
    {
        HANDLE process = nullptr, user = nullptr;
        EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_DUPLICATE | TOKEN_QUERY, &process));
        const KernelHandle owned(process);
        EXPECT_TRUE(DuplicateToken(process, SecurityImpersonation, &user));
        m_user.Reset(user);
        SelectTree();
        Index();
        watcher.SetIndexDB(folder.Path(L"index.db"));
        watcher.SetDestBackupFolderDB(folder.Path(L"destination"));
        watcher.SetUserToken(m_user.Get());
        watcher.SetDeletionListener([this](const DeletionRecord&) {
            ++told;
            actedForUser = ActsForSomebody();
        });
    }
    ~UserAccount() override
    {
        End();
        RevertToSelf();
    }

    void DeleteIndexed()
    {
        const CString path = Write(L"a.txt");
        RecordWithTime(path, 1);
        DeleteFileW(path);
        Handler().OnFileRemoved(path);
    }

    HANDLE Token() const { return m_user.Get(); }

    int told = 0;
    bool actedForUser = false;

private:
    KernelHandle m_user;
};

TEST_F(UserAccount, DeletionsAreLookedForWithTheRightsOfTheUser)
{
    DeleteIndexed();
    Start();
    PassAfter(1);
    PassAfter(6);
    WaitForSingleObject(WatcherAccess::DeletionsThread(watcher).Get(), 20000);
    EXPECT_EQ(told, 1);
    EXPECT_TRUE(actedForUser);
}

// Counts how often files of the data folder were opened or deleted, and how often for the user.
class OwnFileCalls
{
public:
    explicit OwnFileCalls(const CString& folder)
    {
        s_folder = folder.GetString();
        s_calls = s_forUser = 0;
    }
    int Calls() const { return s_calls; }
    int ForUser() const { return s_forUser; }

private:
    static void Count(const wchar_t* path)
    {
        if (!std::wstring_view(path).starts_with(s_folder))
            return;
        ++s_calls;
        s_forUser += ActsForSomebody() ? 1 : 0;
    }
    static HANDLE WINAPI Create(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* attributes,
                                DWORD disposition, DWORD flags, HANDLE likeThis)
    {
        Count(path);
        return s_create(path, access, share, attributes, disposition, flags, likeThis);
    }
    static BOOL WINAPI Delete(const wchar_t* path)
    {
        Count(path);
        return s_delete(path);
    }

    static inline const auto s_create = SystemFunction<decltype(CreateFileW)>("CreateFileW");
    static inline const auto s_delete = SystemFunction<decltype(DeleteFileW)>("DeleteFileW");
    static inline std::wstring s_folder;
    static inline std::atomic<int> s_calls{0}, s_forUser{0};
    const ImportedCall m_createCall{nullptr, "CreateFileW", &Create};
    const ImportedCall m_deleteCall{nullptr, "DeleteFileW", &Delete};
};

TEST_F(UserAccount, TheOwnFilesOfTheProductAreUsedWithTheRightsOfTheProcess)
{
    const CString path = Write(L"a.txt");
    const OwnFileCalls own(folder.Path(L"data"));
    Handler().OnFileAdded(path);
    ASSERT_TRUE(ImpersonateLoggedOnUser(Token()));
    Parts().due.BeginRun();
    watcher.DeInit(); // writes the dump
    watcher.SetDataXmlPath(folder.Path(L"data.xml"));
    watcher.Resume(); // reads and deletes it
    RevertToSelf();
    EXPECT_TRUE(Pending(path));
    EXPECT_GE(own.Calls(), 5);
    EXPECT_EQ(own.ForUser(), 0);
}

TEST_F(UserAccount, AnOperationGivesItsCallerTheOwnRightsBack)
{
    DeleteIndexed();
    ASSERT_FALSE(ActsForSomebody());
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_TRUE(actedForUser);
    EXPECT_FALSE(ActsForSomebody());
    QueueDatum datum;
    watcher.GetSingleNotification(nullptr, datum);
    EXPECT_FALSE(ActsForSomebody());
    watcher.FirstRun(L"c:\\");
    EXPECT_FALSE(ActsForSomebody());
}

} // namespace
