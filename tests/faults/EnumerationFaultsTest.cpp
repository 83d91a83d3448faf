// An enumeration that was disturbed is due again, and can be started again.
#include "tests/faults/FaultyWatcher.h"

namespace
{

class FaultyEnumeration : public FaultyWatcher
{
protected:
    FaultyEnumeration()
    {
        fresh = Write(L"fresh.txt");
        changed = Write(L"folder\\changed.txt");
        RecordWithTime(changed, 1);
        RecordWithTime(gone, 1);
        watcher.UpdateThreadsPriority(CPUSpeedFull);
    }
    ~FaultyEnumeration() override { CIndexDB::m_mapDeletePtr.clear(); }

    void Prepare()
    {
        watcher.ClearNotifications();
        CIndexDB::m_mapDeletePtr.clear();
        NoteEnumerationDone();
        InitAgain();
        ASSERT_TRUE(watcher.LoadSelection());
    }
    void Run()
    {
        watcher.StartFirstTimeRun(1);
        WatcherAccess::Parts(watcher).enumerator.EndRuns();
    }
    bool IsDisturbanceTold()
    {
        return WatcherAccess::IsFullDueAgain(watcher) || Parts().due.Rescans().Find(L"c:\\") || HasErrorInLog() ||
               watcher.GetEnumerationProgress().Of(PathOutcome::Unreadable) > 0;
    }
    void Check()
    {
        EXPECT_EQ(watcher.IsFirstTimeEnumRunning(), 0);
        for (const CString& path : {fresh, changed, gone})
            EXPECT_TRUE(Pending(path) || IsDisturbanceTold()) << Narrow(path.View());
        Prepare();
        EXPECT_EQ(watcher.StartFirstTimeRun(0), 1);
        WatcherAccess::Parts(watcher).enumerator.EndRuns();
        for (const CString& path : {fresh, changed, gone})
            EXPECT_TRUE(Pending(path)) << Narrow(path.View());
    }

    CString fresh, changed;
    const CString gone = InTree(L"gone.txt");
};

TEST_P(FaultyEnumeration, IsToldAndComesAgain)
{
    TryFaults({"enumeration", [this] { Prepare(); }, [this] { Run(); }, [this] { Check(); }});
}

INSTANTIATE_TEST_SUITE_P(, FaultyEnumeration,
                         testing::Values(Faults::Opening(), Faults::Reading(), Faults::ThreadStart(), Faults::Memory(),
                                         Faults::MemoryElsewhere()),
                         [](const auto& info) { return info.param.name; });

} // namespace
