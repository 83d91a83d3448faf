// Pending files are handed out, counted and put back.
#include "tests/capi/CapiTest.h"

#include <cstring>
#include <mutex>
#include <set>
#include <thread>

namespace
{

class PendingFiles : public CapiTest
{
protected:
    void PutBack(const std::wstring& path) { ASSERT_EQ(OrbPendingPutBack(watcher.get(), path.c_str()), ORB_OK); }
};

TEST_F(PendingFiles, AChangedFileIsHandedOutWithItsRule)
{
    Watch();
    const std::wstring path = Write(L"new.txt", "12345");
    auto file = Sized<OrbPendingFile>();
    ASSERT_TRUE(Receives(path, &file));
    EXPECT_EQ(file.size, sizeof file);
    EXPECT_EQ(file.flags & (ORB_FILE | ORB_DIRECTORY | ORB_NEW), ORB_FILE | ORB_NEW);
    EXPECT_EQ(file.fileSize, 5u);
    EXPECT_GT(file.modificationTime, 0);
    EXPECT_GT(file.creationTime, 0);
    EXPECT_NE(file.id, 0u);
    EXPECT_STREQ(file.ruleTexts, L"Tree");
    EXPECT_STREQ(file.ruleNumbers, L"7");
}

TEST_F(PendingFiles, AFileIsHandedOutWithItsIdentity)
{
    Watch();
    const std::wstring path = Write(L"new.txt");
    auto file = Sized<OrbPendingFile>();
    ASSERT_TRUE(Receives(path, &file));
    const FileHandle opened(
        CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    BY_HANDLE_FILE_INFORMATION now;
    ASSERT_TRUE(GetFileInformationByHandle(opened.Get(), &now));
    EXPECT_EQ(file.volumeSerial, now.dwVolumeSerialNumber);
    EXPECT_EQ(file.fileId, std::uint64_t(now.nFileIndexHigh) << 32 | now.nFileIndexLow);
}

TEST_F(PendingFiles, ARecordThatEndsBeforeTheIdentityWillDo)
{
    Watch();
    const std::wstring path = Write(L"new.txt");
    auto file = Sized<OrbPendingFile>(offsetof(OrbPendingFile, fileId));
    file.fileId = 5;
    ASSERT_TRUE(Receives(path, &file));
    EXPECT_EQ(file.fileId, 5u);
}

TEST_F(PendingFiles, AnEmptyQueueHasNothing)
{
    Watch();
    ASSERT_EQ(OrbEnumerationWait(watcher.get(), Longest), ORB_OK);
    auto file = Sized<OrbPendingFile>();
    OrbResult result;
    while ((result = OrbPendingTake(watcher.get(), &file)) == ORB_OK)
        ;
    EXPECT_EQ(result, ORB_NOTHING);
    EXPECT_EQ(LastFailure(), L"");
}

TEST_F(PendingFiles, AFileThatIsPutBackComesAgain)
{
    Watch();
    const std::wstring path = Write(L"again.txt");
    ASSERT_TRUE(Receives(path));
    PutBack(path);
    int64_t count = 0;
    ASSERT_EQ(OrbPendingCount(watcher.get(), &count), ORB_OK);
    EXPECT_GE(count, 1);
    EXPECT_TRUE(Receives(path));
}

TEST_F(PendingFiles, AShorterRecordIsFilledToItsEndOnly)
{
    Watch();
    const std::wstring path = Write(L"short.txt");
    OrbPendingFile file;
    std::memset(&file, 0x5A, sizeof file);
    file.size = offsetof(OrbPendingFile, ruleTexts);
    ASSERT_TRUE(Receives(path, &file));
    EXPECT_EQ(file.size, offsetof(OrbPendingFile, ruleTexts));
    const auto* behind = reinterpret_cast<const unsigned char*>(&file.ruleTexts);
    for (std::size_t i = 0; i < sizeof file - file.size; ++i)
        ASSERT_EQ(behind[i], 0x5A);
}

TEST_F(PendingFiles, ARecordOfAnUnknownSizeTakesNothing)
{
    Watch();
    const std::wstring path = Write(L"kept.txt");
    PutBack(path);
    for (const std::size_t size : {std::size_t(0), std::size_t(4), sizeof(OrbPendingFile) - 1,
                                   sizeof(OrbPendingFile) + 8, std::size_t(0xFFFFFFFF)}) {
        auto file = Sized<OrbPendingFile>(size);
        EXPECT_EQ(OrbPendingTake(watcher.get(), &file), ORB_BAD_SIZE);
    }
    EXPECT_TRUE(Receives(path));
}

// A thread keeps the file that it could not put back; all others must be there after the next start.
TEST_F(PendingFiles, AStopWhileOthersTakeAndPutBackLosesNothing)
{
    Watch();
    std::set<std::wstring> missing;
    for (int i = 0; i < 100; ++i) {
        const std::wstring path = Write(L"file " + std::to_wstring(i));
        PutBack(path);
        missing.insert(std::filesystem::path(path).filename());
    }
    std::mutex lock;
    const auto forget = [&](const wchar_t* path) {
        const std::scoped_lock guard(lock);
        missing.erase(std::filesystem::path(path).filename());
    };
    const auto juggle = [&] {
        auto file = Sized<OrbPendingFile>();
        for (OrbResult result; (result = OrbPendingTake(watcher.get(), &file)) != ORB_WRONG_STATE;)
            if (result == ORB_OK && OrbPendingPutBack(watcher.get(), file.path) != ORB_OK)
                forget(file.path);
    };
    std::thread first(juggle), second(juggle);
    EXPECT_EQ(OrbWatcherStop(watcher.get()), ORB_OK);
    first.join();
    second.join();
    Start();
    auto file = Sized<OrbPendingFile>();
    const ULONGLONG end = GetTickCount64() + Longest;
    while (!missing.empty() && GetTickCount64() < end)
        if (OrbPendingTake(watcher.get(), &file) == ORB_OK)
            forget(file.path);
    EXPECT_TRUE(missing.empty());
}

} // namespace
