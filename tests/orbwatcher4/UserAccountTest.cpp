// Whose rights the watcher works with: the user's files are the user's to reach.
#include "tests/orbwatcher4/LoopFixture.h"

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
    WaitForSingleObject(State().deletedFilesThread.Get(), 20000);
    EXPECT_EQ(told, 1);
    EXPECT_TRUE(actedForUser);
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
