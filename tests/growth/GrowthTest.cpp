// Operations that are repeated leave nothing behind.
//
// A fifth of the full numbers, unless ORB_GROWTH_SHARE names another share: 1 is all.
#include "OrbFileMonitorService/OverlayCache.h"
#include "companions/settings/OrbSettings.h"
#include "directory_changes/DirectoryChanges.h"
#include "orbwatcher4/OrbWatcherC.h"
#include "tests/growth/Holdings.h"
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/overlay/OverlayObjects.h"
#include "tests/overlay/ScriptedWaiter.h"
#include "tests/support/FromEnvironment.h"

#include <algorithm>
#include <cstdio>

namespace
{

// The bytes that the C runtime, the log and the system's own caches may take meanwhile.
constexpr int HandleSlack = 4;
constexpr std::size_t ByteSlack = 16 * 1024;

class Growth : public WatcherFixture
{
protected:
    template <typename Operation>
    void ExpectFlat(const char* what, int all, Operation operation);
    // No enumeration is due: whether one begins before a stop comes would depend on the machine, and its tables stay.
    void NoteEnumeration()
    {
        GetServiceRunSettings().SetValue(FirstTimeRunTimeKey, static_cast<std::int32_t>(clock.Seconds()));
        ASSERT_TRUE(GetServiceRunSettings().Save());
    }

private:
    template <typename Operation>
    void Repeat(int times, Operation operation)
    {
        for (int i = 0; i < times; ++i)
            operation();
        log.Clear(); // the test's own
    }
};

// A tenth of the times first, for what is made once and kept. A heap may keep freed blocks for each thread that has
// used it, and shows them as blocks in use: it fills up in some rounds, and a leak goes on in each.
template <typename Operation>
void Growth::ExpectFlat(const char* what, int all, Operation operation)
{
    constexpr int rounds = 5;
    const int times = all / static_cast<int>(FromEnvironment("ORB_GROWTH_SHARE", 5));
    Repeat(times / 10, operation);
    Holdings before, after = Holdings::Now();
    for (int round = 0; round < rounds && (round == 0 || after.bytes > before.bytes + ByteSlack); ++round) {
        before = after;
        Repeat(times - times / 10, operation);
        after = Holdings::Now();
        std::printf("growth of %d %s: handles %d to %d, threads %d to %d, bytes %zu to %zu\n", times, what,
                    before.handles, after.handles, before.threads, after.threads, before.bytes, after.bytes);
        EXPECT_LE(after.handles, before.handles + HandleSlack);
        EXPECT_LE(after.threads, before.threads);
    }
    EXPECT_LE(after.bytes, before.bytes + ByteSlack);
}

TEST_F(Growth, WatchingAndUnwatchingLeavesNothingBehind)
{
    CDirectoryChangeHandler first, second;
    CDirectoryChangeWatcher engine;
    const CString other = MakeFolder(L"other");
    ASSERT_EQ(engine.WatchDirectory(other, &first), 0u); // keeps the worker and the notifier
    ExpectFlat("times watched and unwatched", 10000, [&] {
        ASSERT_EQ(engine.WatchDirectory(tree, &second), 0u);
        ASSERT_TRUE(engine.UnwatchDirectory(tree.GetString()));
    });
}

TEST_F(Growth, EndingTheLastWatchLeavesNothingBehind)
{
    CDirectoryChangeHandler handler;
    CDirectoryChangeWatcher engine;
    ExpectFlat("times everything unwatched", 1000, [&] {
        ASSERT_EQ(engine.WatchDirectory(tree, &handler), 0u);
        ASSERT_TRUE(engine.UnwatchAllDirectories());
    });
}

TEST_F(Growth, StartingAndAbortingLeavesNothingBehind)
{
    NoteEnumeration();
    watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
    ExpectFlat("times started and aborted", 200, [&] {
        watcher.StartWatch();
        ASSERT_TRUE(watcher.WaitUntilReady(20000));
        watcher.AbortWatching();
    });
}

TEST_F(Growth, StartingAndDestroyingLeavesNothingBehind)
{
    NoteEnumeration();
    const CString rules = WriteRules(L"data.xml", TreeItem());
    ExpectFlat("watchers made, started and destroyed", 100, [&] {
        COrbWatcher another(false);
        another.SetDataXmlPath(rules);
        another.Init();
        another.StartWatch();
        another.AbortWatching();
        another.DeInit();
    });
}

TEST_F(Growth, WhatIsMadeThroughTheCFunctionsLeavesNothingBehind)
{
    SelectTree();
    const CString selection = folder.Path(L"data.xml"), database = folder.Path(L"flat.db");
    OrbWatcherOptions options = {};
    options.size = sizeof options;
    options.selection = selection;
    options.indexDatabase = database;
    options.keepEvents = 1;
    ExpectFlat("lives of a watcher and an index in C", 250, [&] {
        OrbIndexHandle index = nullptr;
        OrbWatcherHandle made = nullptr;
        OrbDeletion deletion = {};
        deletion.size = sizeof deletion;
        ASSERT_EQ(OrbIndexOpen(database, nullptr, &index), ORB_OK);
        ASSERT_EQ(OrbIndexForget(index, L"C:\\nothing"), ORB_OK);
        ASSERT_EQ(OrbWatcherCreate(&options, &made), ORB_OK);
        ASSERT_EQ(OrbWatcherStart(made, 20000), ORB_OK);
        ASSERT_EQ(OrbDeletionTake(made, &deletion), ORB_NOTHING);
        OrbWatcherDestroy(made);
        OrbIndexClose(index);
    });
}

TEST_F(Growth, ReconnectingTheOverlayLeavesNothingBehind)
{
    const OverlayObjects service;
    ScriptedWaiter waiter; // no service answers, which drops the connection at once
    OverlayCache overlay{waiter};
    ExpectFlat("reconnects of the overlay", 10000, [&] {
        std::int32_t status = OverlayStatus::Pending;
        ASSERT_FALSE(overlay.Request(OverlayRequest::SetStatus, L"C:\\docs\\a.txt", status));
        waiter.limits.clear();
        SetEvent(service.token.Get());
    });
}

TEST_F(Growth, ChangesThatComeAndAreHandedOutLeaveNothingBehind)
{
    SelectTree();
    const CString file = Write(L"f.txt");
    ExpectFlat("changes handed out", 5000, [&] {
        Handler().OnFileModified(file);
        QueueDatum datum;
        while (watcher.GetSingleNotification(nullptr, datum)) {
        }
    });
}

} // namespace
