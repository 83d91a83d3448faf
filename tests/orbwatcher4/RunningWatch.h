// A watcher whose own thread watches real drives through the engine.
#pragma once

#include "support/CaseFold.h"
#include "tests/orbwatcher4/WatcherFixture.h"

class RunningWatch : public WatcherFixture
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
