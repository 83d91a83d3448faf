// The index through the C functions, and each way in which it can be refused.
#include "tests/capi/CapiTest.h"

#include <cwchar>

namespace
{

class Index : public CapiTest
{
protected:
    OrbResult Open(const OrbIndexOptions* options)
    {
        OrbIndexHandle opened = nullptr;
        const OrbResult result = OrbIndexOpen(indexPath.c_str(), options, &opened);
        index.reset(opened);
        return result;
    }
    static OrbIndexOptions OpenOptions(bool writable)
    {
        auto options = Sized<OrbIndexOptions>();
        options.writable = writable;
        options.timeoutMilliseconds = 1;
        return options;
    }
    static OrbPendingFile Record(const std::wstring& path)
    {
        auto file = Sized<OrbPendingFile>();
        file.flags = ORB_FILE;
        file.modificationTime = 1;
        std::wcsncpy(file.path, path.c_str(), ORB_PATH_CAPACITY - 1);
        return file;
    }
    OrbResult RecordPath(const std::wstring& path)
    {
        const OrbPendingFile file = Record(path);
        return OrbIndexRecord(index.get(), &file);
    }
};

TEST_F(Index, AFileThatIsRecordedIsNoLongerNewUntilItIsForgotten)
{
    Watch();
    const std::wstring path = Write(L"known.txt");
    auto file = Sized<OrbPendingFile>();
    ASSERT_TRUE(Receives(path, &file));
    EXPECT_TRUE(file.flags & ORB_NEW);
    ASSERT_EQ(OrbIndexRecord(index.get(), &file), ORB_OK);
    file.modificationTime -= 10000000; // an older state was backed up
    ASSERT_EQ(OrbIndexRecord(index.get(), &file), ORB_OK);
    ASSERT_EQ(OrbPendingPutBack(watcher.get(), path.c_str()), ORB_OK);
    ASSERT_TRUE(Receives(path, &file));
    EXPECT_FALSE(file.flags & ORB_NEW);
    ASSERT_EQ(OrbIndexForget(index.get(), path.c_str()), ORB_OK);
    ASSERT_EQ(OrbPendingPutBack(watcher.get(), path.c_str()), ORB_OK);
    ASSERT_TRUE(Receives(path, &file));
    EXPECT_TRUE(file.flags & ORB_NEW);
    EXPECT_EQ(OrbIndexForget(index.get(), InTree(L"never there").c_str()), ORB_OK);
}

TEST_F(Index, AFileThatCouldNotBeReadIsNotRecorded)
{
    OpenIndex();
    OrbPendingFile file = Record(L"C:\\unread");
    file.modificationTime = -1;
    EXPECT_EQ(OrbIndexRecord(index.get(), &file), ORB_FILE_UNREADABLE);
}

TEST_F(Index, ManyFilesAreRecordedInOneCall)
{
    OpenIndex();
    std::vector<OrbPendingFile> files{Record(L"C:\\one"), Record(L"C:\\unread"), Record(L"C:\\two")};
    files[1].modificationTime = -1;
    OrbResult results[3] = {-1, -1, -1};
    const auto count = static_cast<uint32_t>(files.size());
    EXPECT_EQ(OrbIndexRecordMany(index.get(), nullptr, files.data(), count, results), ORB_FILE_UNREADABLE);
    EXPECT_EQ(results[0], ORB_OK);
    EXPECT_EQ(results[1], ORB_FILE_UNREADABLE);
    EXPECT_EQ(results[2], ORB_OK);
    files[1].modificationTime = 1;
    EXPECT_EQ(OrbIndexRecordMany(index.get(), nullptr, files.data(), count, nullptr), ORB_OK);
    EXPECT_EQ(OrbIndexRecordMany(index.get(), nullptr, nullptr, 0, nullptr), ORB_OK);
    files[2].size -= 8;
    EXPECT_EQ(OrbIndexRecordMany(index.get(), nullptr, files.data(), count, nullptr), ORB_BAD_SIZE);
}

TEST_F(Index, AFileThatHasGoneBeforeItIsRecordedBecomesADeletion)
{
    Watch();
    const std::wstring path = Write(L"short.txt");
    auto file = Sized<OrbPendingFile>();
    ASSERT_TRUE(Receives(path, &file));
    ASSERT_TRUE(DeleteFileW(path.c_str()));
    ASSERT_EQ(OrbIndexRecordMany(index.get(), watcher.get(), &file, 1, nullptr), ORB_OK);
    int64_t pending = 0;
    ASSERT_EQ(OrbPendingCount(watcher.get(), &pending), ORB_OK);
    EXPECT_EQ(pending, 1);
    watcher.reset();
    ASSERT_EQ(Create(Options()), ORB_OK);
    EXPECT_EQ(OrbIndexRecordMany(index.get(), watcher.get(), &file, 1, nullptr), ORB_WRONG_STATE);
}

TEST_F(Index, AShorterRecordWillDo)
{
    OpenIndex();
    OrbPendingFile file = Record(L"C:\\short");
    file.size = offsetof(OrbPendingFile, ruleTexts);
    EXPECT_EQ(OrbIndexRecord(index.get(), &file), ORB_OK);
    file.size += 2;
    EXPECT_EQ(OrbIndexRecord(index.get(), &file), ORB_BAD_SIZE);
}

TEST_F(Index, APathThatIsEmptyOrDoesNotEndIsRefused)
{
    OpenIndex();
    EXPECT_EQ(RecordPath(L""), ORB_BAD_ARGUMENT);
    OrbPendingFile file = Record(L"C:\\");
    std::fill_n(file.path, ORB_PATH_CAPACITY, L'x');
    EXPECT_EQ(OrbIndexRecord(index.get(), &file), ORB_BAD_ARGUMENT);
    auto deletion = Sized<OrbDeletion>();
    EXPECT_EQ(OrbIndexForgetDeleted(index.get(), &deletion), ORB_BAD_ARGUMENT);
    std::fill_n(deletion.path, ORB_PATH_CAPACITY, L'x');
    EXPECT_EQ(OrbIndexForgetDeleted(index.get(), &deletion), ORB_BAD_ARGUMENT);
}

TEST_F(Index, OneThatIsNotThereIsMadeForWritersOnly)
{
    const OrbIndexOptions reading = OpenOptions(false);
    EXPECT_EQ(Open(&reading), ORB_INDEX_NOT_FOUND);
    EXPECT_FALSE(index);
    EXPECT_NE(LastFailure(), L"");
    EXPECT_EQ(Open(nullptr), ORB_OK);
}

TEST_F(Index, AReaderCannotRecord)
{
    OpenIndex();
    const OrbIndexOptions reading = OpenOptions(false);
    ASSERT_EQ(Open(&reading), ORB_OK);
    EXPECT_EQ(RecordPath(L"C:\\a"), ORB_INDEX_READ_ONLY);
    EXPECT_EQ(OrbIndexForget(index.get(), L"C:\\a"), ORB_INDEX_READ_ONLY);
}

TEST_F(Index, OneThatSomebodyHoldsAloneIsLocked)
{
    OrbIndexOptions options = OpenOptions(true);
    options.exclusive = 1;
    ASSERT_EQ(Open(&options), ORB_OK);
    OrbIndexHandle other = nullptr;
    options.exclusive = 0;
    EXPECT_EQ(OrbIndexOpen(indexPath.c_str(), &options, &other), ORB_INDEX_LOCKED);
    EXPECT_EQ(other, nullptr);
}

TEST_F(Index, WhatIsNoDatabaseIsReportedAndLeftAlone)
{
    const std::string garbage(8192, 'g');
    folder.WriteBytes(L"index.db", garbage);
    EXPECT_EQ(Open(nullptr), ORB_INDEX_CORRUPT);
    EXPECT_EQ(folder.ReadBytes(L"index.db"), garbage);
}

TEST_F(Index, ANewerOneIsReported)
{
    OpenIndex();
    index.reset();
    std::string bytes = folder.ReadBytes(L"index.db");
    ASSERT_GT(bytes.size(), 64u);
    bytes[63] = 99; // the last byte of the schema's version
    folder.WriteBytes(L"index.db", bytes);
    EXPECT_EQ(Open(nullptr), ORB_INDEX_NEWER);
}

TEST_F(Index, OneThatMayNotGrowIsFull)
{
    OrbIndexOptions options = OpenOptions(true);
    options.sizeLimit = 64 * 1024;
    ASSERT_EQ(Open(&options), ORB_OK);
    OrbResult result = ORB_OK;
    for (int i = 0; i < 2000 && result == ORB_OK; ++i)
        result = RecordPath(L"C:\\" + std::wstring(1000, L'f') + std::to_wstring(i));
    EXPECT_EQ(result, ORB_INDEX_FULL);
}

TEST_F(Index, OptionsMayEndBeforeTheLimit)
{
    OrbIndexOptions options = OpenOptions(true);
    options.size = offsetof(OrbIndexOptions, sizeLimit);
    options.sizeLimit = 1; // is not read
    EXPECT_EQ(Open(&options), ORB_OK);
    EXPECT_EQ(RecordPath(L"C:\\a"), ORB_OK);
    options.size = 4;
    EXPECT_EQ(Open(&options), ORB_BAD_SIZE);
}

} // namespace
