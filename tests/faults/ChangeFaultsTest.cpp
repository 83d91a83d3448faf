// A change that could not be taken in as it should be is found again by looking at everything.
#include "tests/faults/FaultyWatcher.h"

namespace
{

class FaultyChange : public FaultyWatcher
{
protected:
    FaultyChange()
    {
        changed = Write(L"changed.txt");
        moved = Write(L"moved.txt");
        directory = MakeFolder(L"folder") + L"\\";
        child = Write(L"folder\\child.txt");
        deep = Write(L"folder\\deeper\\deep.txt");
        for (const CString& path : {changed, gone, before})
            RecordWithTime(path, 1);
    }

    void Prepare()
    {
        DeleteFileW(DumpFilePath());
        NoteEnumerationDone();
        InitAgain();
        ASSERT_TRUE(watcher.LoadSelection());
        Parts().due.BeginRun();
    }
    void Take()
    {
        Handler().OnFileAdded(directory);
        Handler().OnFileModified(changed);
        Handler().OnFileRemoved(gone);
        Handler().OnFileNameChanged(before, moved);
    }
    void Check()
    {
        watcher.DeInit();
        for (const CString& path : {child, deep, changed, gone, before, moved})
            EXPECT_TRUE(IsKeptForNextRun(path)) << Narrow(path.View());
        Prepare();
        Take();
        for (const CString& path : {child, deep, changed, gone, before, moved})
            EXPECT_TRUE(Pending(path)) << Narrow(path.View());
        watcher.DeInit();
    }

    CString changed, moved, directory, child, deep;
    const CString gone = InTree(L"gone.txt"), before = InTree(L"before.txt");
};

TEST_P(FaultyChange, IsNotLost)
{
    TryFaults({"changes taken in", [this] { Prepare(); }, [this] { Take(); }, [this] { Check(); }});
}

INSTANTIATE_TEST_SUITE_P(, FaultyChange, testing::Values(Faults::Opening(), Faults::Reading(), Faults::Memory()),
                         [](const auto& info) { return info.param.name; });

} // namespace
