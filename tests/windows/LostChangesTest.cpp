// Lost changes for real: more changes than the system's buffer holds, while no read is pending.
//
// Documentation of Windows: "ReadDirectoryChangesW": the buffer of the first call also sets the size of the system's
// own one; when it overflows, "the entire contents of the buffer are discarded, and the lpBytesReturned parameter
// contains zero".
#include "directory_changes/ChangeIo.h"
#include "directory_changes/DirectoryChanges.h"
#include "mfc/CEvent.h"
#include "support/Handle.h"
#include "tests/directory_changes/RecordingHandler.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <atomic>

namespace
{

constexpr DWORD SmallBuffer = 4096;
constexpr int Burst = 500; // changes, each of more than twenty bytes

// The system, with a small buffer and a pause before the second read.
class SlowReader : public ChangeIo
{
public:
    bool ReadChanges(HANDLE directory, void* buffer, DWORD length, bool subtree, DWORD filter,
                     OVERLAPPED* overlapped) override
    {
        if (++m_reads == 2) {
            isPausing.SetEvent();
            WaitForSingleObject(goOn, 20000);
        }
        return ChangeIo::ReadChanges(directory, buffer, length < SmallBuffer ? length : SmallBuffer, subtree, filter,
                                     overlapped);
    }

    CEvent isPausing{FALSE, TRUE}, goOn{FALSE, TRUE};

private:
    std::atomic<int> m_reads{0};
};

class LostChanges : public testing::Test
{
protected:
    void MakeBurst(int first)
    {
        for (int i = first; i < first + Burst; ++i)
            folder.WriteBytes((L"burst" + std::to_wstring(i)).c_str(), "x");
    }

    // Asks the system itself, without the engine. Returns why it does not tell of lost changes; empty when it does.
    std::string WhyNotTold()
    {
        const FileHandle directory(CreateFileW(folder.Path(), FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                               nullptr, OPEN_EXISTING,
                                               FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr));
        alignas(4) char buffer[SmallBuffer];
        DWORD bytes = 1;
        if (!Read(directory.Get(), buffer, bytes, [this] { folder.WriteBytes(L"probe", "x"); }))
            return "the system reports no change of a folder";
        MakeBurst(0);
        if (!Read(directory.Get(), buffer, bytes, [] {}))
            return "the system reports nothing after its buffer has overflowed";
        return bytes == 0 ? "" : "the system does not report that its buffer has overflowed";
    }

    TempFolder folder;

private:
    template <typename Change>
    static bool Read(HANDLE directory, void* buffer, DWORD& bytes, Change change)
    {
        const KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        OVERLAPPED overlapped = {};
        overlapped.hEvent = event.Get();
        if (!ReadDirectoryChangesW(directory, buffer, SmallBuffer, TRUE, FILE_NOTIFY_CHANGE_FILE_NAME, nullptr,
                                   &overlapped, nullptr))
            return false;
        change();
        const bool came = WaitForSingleObject(event.Get(), 10000) == WAIT_OBJECT_0;
        if (!came)
            CancelIo(directory);
        return GetOverlappedResult(directory, &overlapped, &bytes, TRUE) && came;
    }
};

TEST_F(LostChanges, AnOverflowIsToldAndTheWatchGoesOn)
{
    if (const std::string why = WhyNotTold(); !why.empty())
        GTEST_SKIP() << why;
    SlowReader io;
    RecordingHandler handler;
    CDirectoryChangeWatcher watcher(io, false, 1);
    ASSERT_EQ(watcher.WatchDirectory(folder.Path(), &handler), 0u);
    folder.WriteBytes(L"first", "x");
    ASSERT_EQ(WaitForSingleObject(io.isPausing, 20000), WAIT_OBJECT_0);
    MakeBurst(Burst);
    io.goOn.SetEvent();
    EXPECT_TRUE(handler.WaitFor(L"error 1022 " + std::wstring(folder.Path())));
    folder.WriteBytes(L"later", "x");
    EXPECT_TRUE(handler.WaitFor(L"+" + std::wstring(folder.Path(L"later"))));
    watcher.UnwatchAllDirectories();
}

} // namespace
