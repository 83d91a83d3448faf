// Runs over all drives, through the C functions.
#include "tests/capi/CapiTest.h"
#include "tests/support/ImportedCall.h"

#include <cstring>

namespace
{

// The walks read folders only while this event is set.
HANDLE g_mayRead = nullptr;

HANDLE WINAPI ReadWhenAllowed(const wchar_t* path, FINDEX_INFO_LEVELS level, void* data, FINDEX_SEARCH_OPS search,
                              void* filter, DWORD flags)
{
    WaitForSingleObject(g_mayRead, INFINITE);
    return FindFirstFileExW(path, level, data, search, filter, flags);
}

class Enumeration : public CapiTest
{
protected:
    Enumeration() : m_mayRead(CreateEventW(nullptr, TRUE, TRUE, nullptr)) { g_mayRead = m_mayRead.Get(); }
    ~Enumeration() override { SetEvent(g_mayRead); }

    void Run()
    {
        OrbResult result;
        while ((result = OrbEnumerationStart(watcher.get())) == ORB_BUSY)
            ASSERT_EQ(OrbEnumerationWait(watcher.get(), Longest), ORB_OK);
        ASSERT_EQ(result, ORB_OK);
        ASSERT_EQ(OrbEnumerationWait(watcher.get(), Longest), ORB_OK);
    }
    OrbEnumerationProgress Progress()
    {
        auto progress = Sized<OrbEnumerationProgress>();
        EXPECT_EQ(OrbEnumerationGetProgress(watcher.get(), &progress), ORB_OK);
        return progress;
    }

    KernelHandle m_mayRead;
};

TEST_F(Enumeration, ARunFindsWhatIsThereAndIsNotedOnce)
{
    const std::wstring first = Write(L"first.txt");
    const std::wstring second = Write(L"sub\\second.txt");
    Watch();
    // Once one was noted, the watcher begins none by itself.
    Run();
    ASSERT_EQ(OrbEnumerationNoteCompleted(watcher.get()), ORB_OK);
    Run();
    const OrbEnumerationProgress progress = Progress();
    EXPECT_EQ(progress.running, 0u);
    EXPECT_EQ(progress.completed, 1u);
    EXPECT_EQ(progress.files, 2u);
    EXPECT_GE(progress.folders, 1u);
    EXPECT_GE(progress.outcomes[ORB_QUEUED] + progress.outcomes[ORB_WAITING], 2u);
    EXPECT_EQ(progress.outcomes[ORB_SKIPPED_WALKED_ALREADY + 1], 0u);
    EXPECT_EQ(OrbEnumerationNoteCompleted(watcher.get()), ORB_OK);
    EXPECT_EQ(OrbEnumerationNoteCompleted(watcher.get()), ORB_NOTHING);
    EXPECT_EQ(Progress().completed, 0u);
    bool both[2] = {};
    auto file = Sized<OrbPendingFile>();
    while (OrbPendingTake(watcher.get(), &file) == ORB_OK) {
        both[0] = both[0] || _wcsicmp(file.path, first.c_str()) == 0;
        both[1] = both[1] || _wcsicmp(file.path, second.c_str()) == 0;
    }
    EXPECT_TRUE(both[0] && both[1]);
}

TEST_F(Enumeration, WhileARunGoesOnAnotherOneIsRefusedAndAWaitTimesOut)
{
    Write(L"a.txt");
    Watch();
    const ImportedCall reads(L"OrbWatcher4.dll", "FindFirstFileExW", ReadWhenAllowed);
    ResetEvent(g_mayRead);
    // An enumeration that the watcher has begun by itself is enough.
    const OrbResult begun = OrbEnumerationStart(watcher.get());
    EXPECT_TRUE(begun == ORB_OK || begun == ORB_BUSY);
    EXPECT_EQ(OrbEnumerationStart(watcher.get()), ORB_BUSY);
    EXPECT_EQ(LastFailure(), OrbResultText(ORB_BUSY));
    EXPECT_EQ(OrbEnumerationWait(watcher.get(), 0), ORB_TIMED_OUT);
    EXPECT_GE(Progress().running, 1u);
    SetEvent(g_mayRead);
    EXPECT_EQ(OrbEnumerationWait(watcher.get(), Longest), ORB_OK);
}

TEST_F(Enumeration, AShorterProgressIsFilledToItsEndOnly)
{
    Watch();
    OrbEnumerationProgress progress;
    std::memset(&progress, 0x5A, sizeof progress);
    progress.size = offsetof(OrbEnumerationProgress, folder);
    EXPECT_EQ(OrbEnumerationGetProgress(watcher.get(), &progress), ORB_OK);
    EXPECT_EQ(progress.folder[0], 0x5A5A);
    EXPECT_EQ(progress.outcomes[ORB_OUTCOME_CAPACITY - 1], 0u);
    progress.size = 12;
    EXPECT_EQ(OrbEnumerationGetProgress(watcher.get(), &progress), ORB_BAD_SIZE);
    EXPECT_EQ(OrbEnumerationGetProgress(watcher.get(), nullptr), ORB_BAD_ARGUMENT);
}

TEST_F(Enumeration, NullHandlesAreRefused)
{
    auto progress = Sized<OrbEnumerationProgress>();
    EXPECT_EQ(OrbEnumerationStart(nullptr), ORB_BAD_ARGUMENT);
    EXPECT_EQ(OrbEnumerationGetProgress(nullptr, &progress), ORB_BAD_ARGUMENT);
    EXPECT_EQ(OrbEnumerationWait(nullptr, 0), ORB_BAD_ARGUMENT);
    EXPECT_EQ(OrbEnumerationNoteCompleted(nullptr), ORB_BAD_ARGUMENT);
}

} // namespace
