// A change that the engine has no memory for is told as lost.
#include "directory_changes/DirectoryChanges.h"
#include "tests/directory_changes/FakeIo.h"
#include "tests/directory_changes/RecordBuffer.h"
#include "tests/faults/FaultPlan.h"
#include "tests/support/TempFolder.h"

#include <cstdio>

namespace
{

class CountingHandler : public CDirectoryChangeHandler
{
public:
    void OnFileAdded(const wchar_t*) override { ++added; }
    void OnReadChangesError(DWORD, const wchar_t*) override { ++lost; }

    std::atomic<int> added{0}, lost{0};
};

class FaultyEngine : public testing::Test
{
protected:
    // False when the fault was not met.
    bool Attempt(int call, FaultPlan::Lasting lasting)
    {
        SCOPED_TRACE(call);
        FakeIo io;
        CountingHandler handler;
        {
            CDirectoryChangeWatcher watcher(io, false, 1);
            EXPECT_EQ(watcher.WatchDirectory(folder.Path(), &handler), 0u);
            EXPECT_TRUE(io.WaitForRead(1));
            RecordBuffer buffer;
            buffer.Add(1, L"a").Add(1, L"b").Add(1, L"c");
            const FaultPlan plan(Faults::MemoryElsewhere(), call, lasting);
            io.Complete(buffer.Bytes());
            watcher.UnwatchAllDirectories();
        }
        EXPECT_TRUE(handler.added == 3 || handler.lost > 0) << handler.added;
        return FaultPlan::WasReached();
    }

    TempFolder folder;
};

TEST_F(FaultyEngine, TellsWhatItLosesForWantOfMemory)
{
    int tried = 0;
    for (const auto lasting : {FaultPlan::Lasting::Once, FaultPlan::Lasting::FromThenOn})
        for (int call = 1; call < 1000 && Attempt(call, lasting) && !HasFailure(); ++call)
            ++tried;
    EXPECT_GT(tried, 3);
    std::printf("faults tried: MemoryElsewhere, engine, %d\n", tried);
}

} // namespace
