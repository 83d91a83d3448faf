// Deletions of folders: their delete records cover the items below them that are gone.
#include "tests/orbwatcher4/DeletionsFixture.h"
#include "tests/support/ImportedCall.h"

namespace
{

class DeletedFolders : public DeletionsFixture
{
protected:
    // Makes the deletion of a folder pending that is there again, with one of the two files that the index holds in it.
    void DeleteAndReturnFolder()
    {
        MakeFolder(L"d");
        Record(Write(L"d\\back.txt"));
        RecordWithTime(InTree(L"d\\gone.txt"), 1);
        RecordWithTime(InTree(L"d"), 1);
        MarkDeleted(InTree(L"d"));
    }
};

TEST_F(DeletedFolders, CoverEverythingThatTheIndexHoldsBelowThem)
{
    const CString directory = MakeFolder(L"d"), file = Write(L"d\\f.txt"), deep = Write(L"d\\e\\g.txt");
    for (const CString& path : {directory, file, InTree(L"d\\e"), deep})
        RecordWithTime(path, 1, GetFileAttributesW(path) & FILE_ATTRIBUTE_DIRECTORY ? CachedDatum::Folder : 0);
    const CString other = Write(L"dd.txt");
    RecordWithTime(other, 1);
    std::filesystem::remove_all(directory.GetString());
    MarkDeleted(directory);
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(RecordedIds(1), (std::set<std::uint64_t>{Id(directory), Id(file), Id(InTree(L"d\\e")), Id(deep)}));
    EXPECT_EQ(LastJob().itemCount, 4);
    EXPECT_TRUE(log.Has(L"Getting children for folder " + std::wstring(directory)));
}

TEST_F(DeletedFolders, GoOnWaitingBesideAFileThatTookItsNameMeanwhile)
{
    const CString path = InTree(L"d");
    RecordWithTime(path + L"\\in.txt", 1);
    MarkDeleted(path);
    ASSERT_TRUE(Index().BeginBatch());
    SelectTree();
    const auto takeItsName = [&] { Handler().OnFileAdded(Write(L"d")); };
    const std::uint64_t sink = g_OrbLog.AddSink([&](const LogLine& line) {
        if (std::wstring_view(line.text) == L"Filtering Deleted items")
            std::thread(takeItsName).join();
    });
    watcher.ImmediateProcessDeletedFiles();
    g_OrbLog.RemoveSink(sink);
    ASSERT_TRUE(Index().CommitBatch());
    ASSERT_TRUE(Pending(path));
    EXPECT_NE(Pending(path)->kind, NotificationKind::Deleted);
    EXPECT_TRUE(PendingBelow(path));
}

TEST_F(DeletedFolders, WaitWhenTheirChildrenCannotBeRead)
{
    const CString directory = InTree(L"d");
    std::vector<ItemDatum> items{{directory, 1, 1, CachedDatum::Folder, 0}};
    for (int i = 0; i < 3000; ++i)
        items.push_back({directory + L"\\some long file name " + std::to_wstring(i).c_str(), 0, 1, 0, 0});
    ASSERT_TRUE(Index().RecordItems(items));
    Index().Close(); // the cache stays
    std::string bytes = folder.ReadBytes(L"index.db");
    ASSERT_GT(bytes.size(), 70u * 4096);
    bytes.replace(60 * 4096, 10 * 4096, 10 * 4096, '\x7f');
    folder.WriteBytes(L"index.db", bytes);
    MarkDeleted(directory);
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_TRUE(Pending(directory));
    EXPECT_TRUE(told.empty());
}

TEST_F(DeletedFolders, ThatTheIndexDoesNotHoldCoverWhatItHoldsBelowThem)
{
    const CString file = InTree(L"d\\f.txt"), deep = InTree(L"d\\e\\g.txt");
    RecordWithTime(file, 1);
    RecordWithTime(deep, 1);
    MarkDeleted(InTree(L"D"));
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(RecordedIds(1), (std::set<std::uint64_t>{Id(file), Id(deep)}));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
}

TEST_F(DeletedFolders, ThatAreThereAgainCoverWhatDidNotReturn)
{
    DeleteAndReturnFolder();
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(RecordedIds(1), std::set<std::uint64_t>{Id(InTree(L"d\\gone.txt"))});
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
}

TEST_F(DeletedFolders, WhosePlaceAFileHasTakenCoverWhatWasInThem)
{
    const CString gone = InTree(L"d\\gone.txt");
    RecordWithTime(gone, 1);
    SelectTree();
    Handler().OnFileRemoved(InTree(L"d"));
    const CString file = Write(L"d");
    Record(file);
    Handler().OnFileAdded(file);
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 1);
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(RecordedIds(1), std::set<std::uint64_t>{Id(gone)});
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
}

// The share of a folder answers no more, once the processing has begun to read the folder's children.
class ShareThatFails
{
    static DWORD WINAPI Answer(const wchar_t* path)
    {
        if (!s_fails || CString(path).MakeLower().Find(s_folder.GetString()) < 0)
            return s_original(path);
        SetLastError(ERROR_NETNAME_DELETED);
        return INVALID_FILE_ATTRIBUTES;
    }

public:
    explicit ShareThatFails(const CString& folder)
        : m_token(g_OrbLog.AddSink([](const LogLine& line) {
              s_fails = s_fails || std::wstring_view(line.text).starts_with(L"Getting children for folder");
          }))
    {
        s_folder = CString(folder).MakeLower();
    }
    ~ShareThatFails()
    {
        g_OrbLog.RemoveSink(m_token);
        s_fails = false;
    }

private:
    static inline CString s_folder;
    static inline bool s_fails = false;
    static inline const auto s_original = SystemFunction<decltype(GetFileAttributesW)>("GetFileAttributesW");
    const std::uint64_t m_token;
    const ImportedCall m_call{nullptr, "GetFileAttributesW", &Answer};
};

TEST_F(DeletedFolders, ThatAreBackAreNotWrittenForWhatCannotBeAskedFor)
{
    DeleteAndReturnFolder();
    {
        const ShareThatFails fails(InTree(L"d"));
        watcher.ImmediateProcessDeletedFiles();
    }
    EXPECT_FALSE(RecordedIds(1).contains(Id(InTree(L"d\\back.txt"))));
    EXPECT_FALSE(RecordedIds(1).contains(Id(InTree(L"d"))));
}

TEST_F(DeletedFolders, ThatWereBackWhenTheirRemovalWasSeenLeaveNothingPendingBesideAFileInTheirPlace)
{
    const CString path = MakeFolder(L"d"), gone = InTree(L"d\\gone.txt");
    RecordWithTime(path, 1);
    RecordWithTime(gone, 1);
    Handler().OnFileRemoved(path); // the folder is back, and is deleted once more
    std::filesystem::remove_all(path.GetString());
    Write(L"d");
    Handler().OnFileAdded(path);
    Handler().OnFileRemoved(path);
    Handler().OnFileAdded(path);
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(RecordedIds(1), std::set<std::uint64_t>{Id(gone)});
    Drain();
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 0);
}

TEST_F(DeletedFolders, AndWhatWasInThemAreWrittenOnceEach)
{
    MakeFolder(L"d");
    const CString file = InTree(L"d\\f.txt");
    RecordWithTime(InTree(L"d"), 1);
    RecordWithTime(file, 1);
    std::filesystem::remove_all(InTree(L"d").GetString());
    MarkDeleted(InTree(L"d"));
    MarkDeleted(file);
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(LastJob().itemCount, 2);
    EXPECT_EQ(told.size(), 2u);
    MarkDeleted(file);
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(told.size(), 2u);
    EXPECT_EQ(LastJob().jobId, 1);
}

} // namespace
