// Real changes on real drives, seen through the engine.
#include "tests/orbwatcher4/RunningWatch.h"

namespace
{

using WatchEndToEnd = RunningWatch;

TEST_F(WatchEndToEnd, ACreatedFileIsHandedOut)
{
    watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
    StartAndWait();
    EXPECT_TRUE(Receives(Write(L"sub\\new.txt")));
}

TEST_F(WatchEndToEnd, AStoppedWatcherCanBeStartedAgain)
{
    watcher.SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
    StartAndWait();
    watcher.AbortWatching();
    EXPECT_TRUE(watcher.GetWatchedRoots().empty());
    StartAndWait();
    EXPECT_TRUE(Receives(Write(L"again\\b.txt")));
}

TEST_F(WatchEndToEnd, TwoWatchersOfOneProcessBothReceiveAChange)
{
    COrbWatcher other(false);
    other.Init();
    for (COrbWatcher* each : {&watcher, &other})
        each->SetDataXmlPath(WriteRules(L"data.xml", TreeItem()));
    other.StartWatch();
    ASSERT_TRUE(other.WaitUntilReady(20000));
    StartAndWait();
    const CString path = Write(L"sub\\new.txt");
    EXPECT_TRUE(Receives(watcher, path));
    EXPECT_TRUE(Receives(other, path));
    other.AbortWatching();
}

TEST_F(WatchEndToEnd, ADriveThatIsTakenAwayAndReturnsIsWatchedAgain)
{
    const std::wstring volume = MakeVolume(L"removable", 0x12345678);
    ASSERT_TRUE(AttachDrive('r', volume.c_str()));
    watcher.SetDataXmlPath(WriteRules(L"data.xml", Item(L"path=\"R:\\docs\" type=\"1\" includeSub=\"1\"")));
    StartAndWait();
    const auto watched = [&](bool wanted) {
        const ULONGLONG end = GetTickCount64() + 20000;
        while (GetTickCount64() < end && watcher.GetWatchedRoots().empty() == wanted)
            Sleep(50);
        return watcher.GetWatchedRoots().empty() != wanted;
    };
    ASSERT_TRUE(DetachDrive('r'));
    EXPECT_TRUE(watched(false));
    ASSERT_TRUE(AttachDrive('r', volume.c_str()));
    EXPECT_TRUE(watched(true));
    std::filesystem::create_directories(L"R:\\docs\\later");
    std::ofstream(L"R:\\docs\\later\\file.txt") << "x";
    EXPECT_TRUE(Receives(CString(L"R:\\docs\\later\\file.txt")));
    watcher.AbortWatching();
    DetachDrive('r');
}

} // namespace
