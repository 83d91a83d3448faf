// The calls of the system that the hand-out of a file makes.
#include "orbwatcher4/core/environment/FileFindData.h"
#include "support/VolumeSerial.h"
#include "tests/orbwatcher4/DiskCalls.h"
#include "tests/orbwatcher4/WatcherFixture.h"

#include <map>

namespace
{

std::map<std::string, int> g_calls;

DWORD WINAPI CountedAttributes(LPCWSTR path)
{
    ++g_calls["GetFileAttributesW"];
    WIN32_FILE_ATTRIBUTE_DATA data;
    return GetFileAttributesExW(path, GetFileExInfoStandard, &data) ? data.dwFileAttributes : INVALID_FILE_ATTRIBUTES;
}
HANDLE WINAPI CountedFind(LPCWSTR path, LPWIN32_FIND_DATAW data)
{
    ++g_calls["FindFirstFileW"];
    return FindFirstFileExW(path, FindExInfoStandard, data, FindExSearchNameMatch, nullptr, 0);
}
HANDLE WINAPI CountedOpenMutex(DWORD, BOOL, LPCWSTR)
{
    ++g_calls["OpenMutexW"];
    return nullptr; // no backup is running
}
BOOL WINAPI CountedOpenToken(HANDLE, DWORD, BOOL, PHANDLE)
{
    ++g_calls["OpenThreadToken"];
    SetLastError(ERROR_NO_TOKEN);
    return FALSE;
}

class HandOutCost : public WatcherFixture
{
protected:
    static constexpr int Files = 20;

    HandOutCost()
    {
        SelectTree();
        for (int i = 0; i < Files; ++i)
            Handler().OnFileAdded(Write(L"file " + std::to_wstring(i)));
        g_calls.clear();
    }

    int TakeAll(std::set<unsigned __int64>* run)
    {
        int taken = 0;
        QueueDatum datum;
        const ImportedCall attributes(nullptr, "GetFileAttributesW", CountedAttributes);
        const ImportedCall find(nullptr, "FindFirstFileW", CountedFind);
        const ImportedCall mutex(nullptr, "OpenMutexW", CountedOpenMutex);
        const ImportedCall token(nullptr, "OpenThreadToken", CountedOpenToken);
        while (taken < Files && watcher.GetSingleNotification(run, datum))
            ++taken;
        return taken;
    }
};

TEST_F(HandOutCost, AFileIsLookedAtOnceByItsPathAndOnceByItsHandle)
{
    EXPECT_EQ(TakeAll(nullptr), Files);
    EXPECT_EQ(g_calls, (std::map<std::string, int>()));
}

TEST_F(HandOutCost, TheHandleOfAFileShowsThatItIsOnTheRecordedVolume)
{
    const CString root = RootOf(tree);
    const std::optional<std::int32_t> serial = VolumeSerial(root);
    if (!serial || *serial == 0)
        GTEST_SKIP() << "the volume of the tests has no serial number";
    Select(Item(L"path=\"" + std::wstring(tree) + L"\" type=\"1\" includeSub=\"1\" vid=\"" + std::to_wstring(*serial) +
                L"\""));
    const DiskCalls calls(root);
    QueueDatum datum;
    for (int taken = 0; taken < Files; ++taken)
        ASSERT_TRUE(watcher.GetSingleNotification(nullptr, datum));
    EXPECT_EQ(calls.All(), (DiskCalls::Counts{{"GetFileAttributesExW", Files}}));
}

TEST_F(HandOutCost, WhetherABackupIsRunningIsAskedOnceForEachFileOfARun)
{
    std::set<unsigned __int64> run;
    EXPECT_EQ(TakeAll(&run), Files);
    EXPECT_EQ(g_calls, (std::map<std::string, int>{{"OpenMutexW", Files}}));
}

TEST_F(HandOutCost, AFileIsThreeLinesOfTheLog)
{
    log.Clear();
    EXPECT_EQ(TakeAll(nullptr), Files);
    EXPECT_EQ(log.Lines().size(), 3u * Files);
}

} // namespace
