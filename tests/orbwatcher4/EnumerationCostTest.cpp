// The calls of the system that an enumeration makes for each file.
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/support/ImportedCall.h"

namespace
{

int g_asked = 0;
ULONGLONG g_now = 0;
ULONGLONG g_step = 0; // of the clock, each time that it is read

DWORD WINAPI CountedAttributes(LPCWSTR path)
{
    ++g_asked;
    WIN32_FILE_ATTRIBUTE_DATA data;
    return GetFileAttributesExW(path, GetFileExInfoStandard, &data) ? data.dwFileAttributes : INVALID_FILE_ATTRIBUTES;
}
DWORD WINAPI CountedWait(HANDLE handle, DWORD milliseconds)
{
    g_asked += milliseconds == 0;
    return WaitForSingleObjectEx(handle, milliseconds, FALSE);
}
ULONGLONG WINAPI SteppedClock() { return g_now += g_step; }

class EnumerationCost : public WatcherFixture
{
protected:
    EnumerationCost()
    {
        SelectTree();
        watcher.UpdateThreadsPriority(CPUSpeedFull);
    }

    void WriteFiles(int from, int to)
    {
        for (int i = from; i < to; ++i)
            Write(L"folder " + std::to_wstring(i % 3) + L"\\file " + std::to_wstring(i));
    }
    // The calls that a run makes, by the clock's step.
    int CallsOfARun(ULONGLONG step)
    {
        watcher.ClearNotifications();
        Parts().selection.primary.ClearJunctionCache();
        g_asked = 0;
        g_step = step;
        const ImportedCall attributes(nullptr, "GetFileAttributesW", CountedAttributes);
        const ImportedCall wait(nullptr, "WaitForSingleObject", CountedWait);
        const ImportedCall clock(nullptr, "GetTickCount64", SteppedClock);
        EXPECT_TRUE(watcher.FirstRun(tree));
        return g_asked;
    }
};

TEST_F(EnumerationCost, AFileMoreIsNoCallMore)
{
    WriteFiles(0, 100);
    const int few = CallsOfARun(0);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 104);
    WriteFiles(100, 200);
    EXPECT_EQ(CallsOfARun(0), few);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 204);
}

TEST_F(EnumerationCost, WhatAListHasShownLongAgoIsAskedForAgain)
{
    WriteFiles(0, 100);
    const int few = CallsOfARun(0);
    EXPECT_GE(CallsOfARun(5000), few + 100);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 104);
}

} // namespace
