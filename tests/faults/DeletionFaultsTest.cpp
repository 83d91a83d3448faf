// A deletion is written into the index, or goes on waiting; never neither.
#include "tests/faults/FaultyWatcher.h"

namespace
{

class FaultyDeletions : public FaultyWatcher
{
protected:
    FaultyDeletions()
    {
        InitAgain();
        watcher.LoadSelection();
        Index();
        watcher.SetDeletionListener([this](const DeletionRecord&) { ++told; });
    }

    // A file, and a folder with a file in it: backed up, and gone.
    void Prepare()
    {
        watcher.ClearNotifications();
        CIndexDB::ClearCache();
        for (const CString& path : {file, child})
            ASSERT_TRUE(Index().RecordItem({path, 0, 1, 0, 0}));
        ASSERT_TRUE(Index().RecordItem({directory, 1, 1, 0, 0}));
        ASSERT_TRUE(Index().LoadCache());
        MarkDeleted(file);
        MarkDeleted(directory);
        told = 0;
    }
    bool IsRecorded(const CString& path) const
    {
        CachedDatum datum;
        return CIndexDB::GetCachedData(path, datum) && (datum.flags & CachedDatum::NoDeleteRecord);
    }
    void ExpectSettledOrWaiting()
    {
        const bool fileKnown = IsRecorded(file), childKnown = IsRecorded(child), folderKnown = IsRecorded(directory);
        EXPECT_TRUE(fileKnown || Pending(file));
        EXPECT_TRUE((folderKnown && childKnown) || Pending(directory));
        // The cache, which says whether a path that returns is new, and the index agree.
        ASSERT_TRUE(Index().LoadCache());
        EXPECT_EQ(IsRecorded(file), fileKnown);
        EXPECT_EQ(IsRecorded(child), childKnown);
        EXPECT_EQ(IsRecorded(directory), folderKnown);
        EXPECT_TRUE(told == 3 || HasErrorInLog() || watcher.GetTotalFilesInMem() > 0);
    }
    void Check()
    {
        ExpectSettledOrWaiting();
        watcher.ImmediateProcessDeletedFiles();
        for (const CString& path : {file, directory, child})
            EXPECT_TRUE(IsRecorded(path)) << Narrow(path.View());
        EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
    }

    const CString file = InTree(L"file.txt"), directory = InTree(L"folder"), child = InTree(L"folder\\child.txt");
    int told = 0;
};

TEST_P(FaultyDeletions, LoseNothing)
{
    TryFaults({"deleted files", [this] { Prepare(); }, [this] { watcher.ImmediateProcessDeletedFiles(); },
               [this] { Check(); }});
}

INSTANTIATE_TEST_SUITE_P(, FaultyDeletions,
                         testing::Values(Faults::Opening(), Faults::Reading(), Faults::Writing(), Faults::FullDisk(),
                                         Faults::Memory()),
                         [](const auto& info) { return info.param.name; });

} // namespace
