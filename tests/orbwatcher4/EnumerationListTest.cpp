// How far an enumeration trusts a folder's list, which may be behind the files: that of a file with several names
// for as long as it is not opened by this one.
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/support/ImportedCall.h"

namespace
{

BOOL WINAPI NextShownHidden(HANDLE search, LPWIN32_FIND_DATAW data)
{
    // Not by the import, which leads here.
    static const auto next = reinterpret_cast<decltype(&FindNextFileW)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "FindNextFileW")));
    const BOOL found = next(search, data);
    if (found && !(data->dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
        data->dwFileAttributes |= FILE_ATTRIBUTE_HIDDEN;
    return found;
}

class EnumerationList : public WatcherFixture
{
protected:
    EnumerationList()
    {
        SelectTree();
        watcher.UpdateThreadsPriority(CPUSpeedFull);
    }

    // The lists show each file as hidden.
    void RunByHiddenLists()
    {
        const ImportedCall list(nullptr, "FindNextFileW", NextShownHidden);
        EXPECT_TRUE(watcher.FirstRun(tree));
    }
};

TEST_F(EnumerationList, AFileThatIsHiddenInTheListAloneIsQueued)
{
    const CString path = Write(L"a.txt");
    RunByHiddenLists();
    EXPECT_TRUE(Pending(path));
}

TEST_F(EnumerationList, AFileThatIsHiddenIsLeftOut)
{
    const CString path = Write(L"a.txt");
    ASSERT_TRUE(SetFileAttributesW(path, FILE_ATTRIBUTE_HIDDEN));
    RunByHiddenLists();
    EXPECT_FALSE(Pending(path));
}

FILETIME g_listedTime = {};
BOOL WINAPI NextShownWithATime(HANDLE search, LPWIN32_FIND_DATAW data)
{
    static const auto next = SystemFunction<decltype(FindNextFileW)>("FindNextFileW");
    const BOOL found = next(search, data);
    if (found)
        data->ftLastWriteTime = g_listedTime;
    return found;
}

TEST_F(EnumerationList, AFileThatHasTheTimeOfTheIndexInTheListAloneIsQueued)
{
    const CString path = Write(L"a.txt");
    constexpr std::uint64_t backedUp = 129'000'000'000'000'000;
    RecordWithTime(path, backedUp);
    g_listedTime = {static_cast<DWORD>(backedUp), static_cast<DWORD>(backedUp >> 32)};
    const ImportedCall list(nullptr, "FindNextFileW", NextShownWithATime);
    EXPECT_TRUE(watcher.FirstRun(tree));
    EXPECT_TRUE(Pending(path));
}

TEST_F(EnumerationList, AFileThatHasAnotherTimeInTheListAloneIsUnchanged)
{
    const CString path = Write(L"a.txt");
    Record(path);
    g_listedTime = {1, 29'000'000};
    const ImportedCall list(nullptr, "FindNextFileW", NextShownWithATime);
    EXPECT_TRUE(watcher.FirstRun(tree));
    EXPECT_FALSE(Pending(path));
}

} // namespace
