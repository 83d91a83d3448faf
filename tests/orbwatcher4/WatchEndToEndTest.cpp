// Real changes on real drives, seen through the engine.
#include "support/CaseFold.h"
#include "tests/orbwatcher4/WatcherFixture.h"

namespace
{

class WatchEndToEnd : public WatcherFixture
{
protected:
    void StartAndWait()
    {
        Parts().config.clock = &SystemClock();
        watcher.StartWatch();
        ASSERT_TRUE(watcher.WaitUntilReady(20000));
        ASSERT_FALSE(watcher.GetWatchedRoots().empty());
        OpenDown(tree);
    }
    // Wine reports changes in a folder that was there before only once the folder has been opened.
    static void OpenDown(const CString& path)
    {
        for (int slash = path.Find(L'\\'); slash >= 0; slash = path.Find(L'\\', slash + 1)) {
            WIN32_FIND_DATAW data;
            const FindHandle opened(FindFirstFileW(path.Left(slash + 1) + L'*', &data));
        }
        WIN32_FIND_DATAW data;
        const FindHandle opened(FindFirstFileW(path + L"\\*", &data));
    }
    // Hands out until the path comes; false after the time.
    bool Receives(const CString& path) { return Receives(watcher, path); }
    static bool Receives(COrbWatcher& watcher, const CString& path)
    {
        const ULONGLONG end = GetTickCount64() + 20000;
        while (GetTickCount64() < end) {
            QueueDatum datum;
            while (watcher.GetSingleNotification(nullptr, datum))
                if (EqualNoCase(datum.path, path.View()))
                    return true;
            Sleep(20); // between two looks at a queue that another thread fills
        }
        return false;
    }
};

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
