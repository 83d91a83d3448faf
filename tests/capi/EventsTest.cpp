// Deletions and rescans wait until they are taken.
#include "tests/capi/CapiTest.h"

namespace
{

class Events : public CapiTest
{
protected:
    void TearDown() override
    {
        watcher.reset();
        DetachDrive('q');
    }
    // Recorded as backed up, then gone: the deletion that is to come.
    OrbDeletion DeleteRecorded(const std::wstring& name)
    {
        const std::wstring path = Write(name);
        auto file = Sized<OrbPendingFile>();
        EXPECT_TRUE(Receives(path, &file));
        EXPECT_EQ(OrbIndexRecord(index.get(), &file), ORB_OK);
        std::filesystem::remove(path);
        auto deletion = Sized<OrbDeletion>();
        deletion.id = file.id;
        std::copy_n(file.path, ORB_PATH_CAPACITY, deletion.path);
        return deletion;
    }
    // Until the index marks the item as deleted; it is forgotten then.
    bool IsProcessed(const OrbDeletion& deletion)
    {
        auto file = Sized<OrbPendingFile>();
        const ULONGLONG end = GetTickCount64() + Longest;
        while (GetTickCount64() < end) {
            OrbPendingTake(watcher.get(), &file);
            if (OrbIndexForgetDeleted(index.get(), &deletion) == ORB_OK)
                return true;
            Sleep(20); // between two looks at an index that another thread writes
        }
        return false;
    }
    // Until these are the roots.
    bool Watches(const std::wstring& roots)
    {
        const ULONGLONG end = GetTickCount64() + Longest;
        wchar_t now[64] = {};
        do {
            EXPECT_EQ(OrbWatcherRoots(watcher.get(), now, 64, nullptr), ORB_OK);
            if (_wcsicmp(now, roots.c_str()) == 0)
                return true;
            Sleep(20); // between two looks at a list that another thread changes
        } while (GetTickCount64() < end);
        return false;
    }
    // The taking of pending files is what processes deletions.
    template <typename Event>
    bool Comes(OrbResult(ORB_CALL* take)(OrbWatcherHandle, Event*), Event* event)
    {
        auto file = Sized<OrbPendingFile>();
        const ULONGLONG end = GetTickCount64() + Longest;
        while (GetTickCount64() < end) {
            OrbPendingTake(watcher.get(), &file);
            if (take(watcher.get(), event) == ORB_OK)
                return true;
            Sleep(20); // between two looks at a list that another thread fills
        }
        return false;
    }
};

TEST_F(Events, ADeletionIsTakenOnceAndCanBeForgotten)
{
    Watch();
    const OrbDeletion gone = DeleteRecorded(L"gone.txt");
    auto deletion = Sized<OrbDeletion>();
    ASSERT_TRUE(Comes(OrbDeletionTake, &deletion));
    EXPECT_EQ(_wcsicmp(deletion.path, gone.path), 0);
    EXPECT_EQ(deletion.id, gone.id);
    EXPECT_GT(deletion.job, 0);
    EXPECT_EQ(OrbDeletionTake(watcher.get(), &deletion), ORB_NOTHING);
    EXPECT_EQ(OrbIndexForgetDeleted(index.get(), &deletion), ORB_OK);
    EXPECT_EQ(OrbIndexForgetDeleted(index.get(), &deletion), ORB_NOTHING); // nothing is left to be forgotten
}

TEST_F(Events, WhatWasRecordedAnewIsNotForgottenWithItsDeletion)
{
    Watch();
    const std::wstring path = InTree(L"back.txt");
    DeleteRecorded(L"back.txt");
    auto deletion = Sized<OrbDeletion>();
    ASSERT_TRUE(Comes(OrbDeletionTake, &deletion));
    Write(L"back.txt");
    auto file = Sized<OrbPendingFile>();
    ASSERT_TRUE(Receives(path, &file));
    ASSERT_EQ(OrbIndexRecord(index.get(), &file), ORB_OK);
    EXPECT_EQ(OrbIndexForgetDeleted(index.get(), &deletion), ORB_NOTHING);
    // It is still known: its next change is no new file.
    Write(L"back.txt", "longer");
    ASSERT_EQ(OrbPendingPutBack(watcher.get(), path.c_str()), ORB_OK);
    ASSERT_TRUE(Receives(path, &file));
    EXPECT_EQ(file.flags & ORB_NEW, 0u);
}

TEST_F(Events, ADeletionIsStillThereAfterTheStop)
{
    Watch();
    const OrbDeletion gone = DeleteRecorded(L"gone.txt");
    ASSERT_TRUE(IsProcessed(gone));
    ASSERT_EQ(OrbWatcherStop(watcher.get()), ORB_OK);
    auto deletion = Sized<OrbDeletion>();
    ASSERT_EQ(OrbDeletionTake(watcher.get(), &deletion), ORB_OK);
    EXPECT_EQ(deletion.id, gone.id);
}

TEST_F(Events, EventsThatNobodyWantsAreNotKept)
{
    OpenIndex();
    OrbWatcherOptions options = Options();
    options.keepEvents = 0;
    ASSERT_EQ(Create(options), ORB_OK);
    Start();
    ASSERT_TRUE(IsProcessed(DeleteRecorded(L"gone.txt")));
    ASSERT_EQ(OrbWatcherStop(watcher.get()), ORB_OK);
    auto deletion = Sized<OrbDeletion>();
    EXPECT_EQ(OrbDeletionTake(watcher.get(), &deletion), ORB_NOTHING);
}

TEST_F(Events, ADriveThatReturnsIsToldAsARescan)
{
    const std::wstring volume = MakeVolume(L"capi", 0x1234ABCD);
    ASSERT_TRUE(AttachDrive('q', volume.c_str()));
    WriteSelection(Item(L"path=\"Q:\\docs\" type=\"1\" includeSub=\"1\""));
    Watch();
    EXPECT_TRUE(Watches(L"q:\\"));
    ASSERT_TRUE(DetachDrive('q'));
    EXPECT_TRUE(Watches(L""));
    ASSERT_TRUE(AttachDrive('q', volume.c_str()));
    auto rescan = Sized<OrbRescan>();
    ASSERT_TRUE(Comes(OrbRescanTake, &rescan));
    EXPECT_EQ(_wcsicmp(rescan.root, L"q:\\"), 0);
    EXPECT_STREQ(rescan.reason, L"driveReturned");
}

TEST_F(Events, EventsOfAnUnknownSizeAreRefused)
{
    ASSERT_EQ(Create(Options()), ORB_OK);
    auto deletion = Sized<OrbDeletion>(sizeof(OrbDeletion) - 8);
    EXPECT_EQ(OrbDeletionTake(watcher.get(), &deletion), ORB_BAD_SIZE);
    auto rescan = Sized<OrbRescan>(8);
    EXPECT_EQ(OrbRescanTake(watcher.get(), &rescan), ORB_BAD_SIZE);
    auto good = Sized<OrbRescan>();
    EXPECT_EQ(OrbRescanTake(watcher.get(), &good), ORB_NOTHING); // also before the start
}

} // namespace
