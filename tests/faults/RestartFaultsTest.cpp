// Pending files are carried over a restart, or are found again by a full enumeration.
#include "tests/faults/FaultyWatcher.h"

namespace
{

class FaultyRestart : public FaultyWatcher
{
protected:
    FaultyRestart()
    {
        changed = Write(L"changed.txt");
        added = Write(L"added.txt");
        RecordWithTime(changed, 1);
        RecordWithTime(gone, 1);
    }

    void Begin()
    {
        DeleteFileW(DumpFilePath());
        for (const CString& mark : RunningMark::FindLeft())
            DeleteFileW(mark);
        NoteEnumerationDone();
        InitAgain();
    }
    void BeginWithPending()
    {
        Begin();
        ASSERT_TRUE(watcher.LoadSelection());
        Parts().due.BeginRun();
        Handler().OnFileAdded(added);
        Handler().OnFileModified(changed);
        Handler().OnFileRemoved(gone);
        ASSERT_EQ(watcher.GetTotalFilesInMem(), 3);
    }
    void BeginWithDump()
    {
        Begin();
        WriteDump({added, changed, gone});
    }
    void ExpectKept()
    {
        for (const CString& path : {added, changed, gone})
            EXPECT_TRUE(IsKeptForNextRun(path)) << Narrow(path.View());
    }
    void CheckEnd()
    {
        ExpectKept();
        EXPECT_EQ(watcher.IsInitilized(), 0);
        EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
        EXPECT_TRUE(watcher.IsPendingKept() || IsEnumerationDue());
        ResumeAndExpectPending();
    }
    void ResumeAndExpectPending()
    {
        InitAgain();
        watcher.Resume();
        for (const CString& path : {added, changed, gone})
            EXPECT_TRUE(Pending(path) || IsEnumerationDue()) << Narrow(path.View());
        watcher.DeInit();
    }
    void CheckResume()
    {
        watcher.DeInit();
        ExpectKept();
        ResumeAndExpectPending();
    }

    CString changed, added;
    const CString gone = InTree(L"gone.txt");
};

TEST_P(FaultyRestart, AnEndLosesNothing)
{
    TryFaults({"end with dump", [this] { BeginWithPending(); }, [this] { watcher.DeInit(); }, [this] { CheckEnd(); }});
}

TEST_P(FaultyRestart, AResumeLosesNothing)
{
    TryFaults({"resume", [this] { BeginWithDump(); }, [this] { watcher.Resume(); }, [this] { CheckResume(); }});
}

INSTANTIATE_TEST_SUITE_P(, FaultyRestart,
                         testing::Values(Faults::Opening(), Faults::Reading(), Faults::Writing(), Faults::FullDisk(),
                                         Faults::Denied(), Faults::Memory()),
                         [](const auto& info) { return info.param.name; });

} // namespace
