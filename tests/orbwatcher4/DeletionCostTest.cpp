// The calls of the system that the processing of deletions makes for each file and each folder.
#include "orbwatcher4/core/environment/FileFindData.h"
#include "tests/orbwatcher4/DeletionsFixture.h"
#include "tests/orbwatcher4/DiskCalls.h"

namespace
{

class DeletionCost : public DeletionsFixture
{
protected:
    static constexpr int Many = 20;

    // Makes a folder with files that the index holds, and the deletion of the folder pending. Nothing is removed yet.
    CString DeleteFolder()
    {
        const CString path = MakeFolder(L"d");
        RecordWithTime(path, 1, CachedDatum::Folder);
        for (int i = 0; i < Many; ++i)
            Record(Write(L"d\\file " + std::to_wstring(i)));
        MarkDeleted(path);
        return path;
    }
    // Makes a folder with files that the index holds, and the deletion of each file pending. Nothing is removed yet.
    CString DeleteFilesOfFolder()
    {
        const CString path = MakeFolder(L"d");
        for (int i = 0; i < Many; ++i) {
            const CString file = Write(L"d\\file " + std::to_wstring(i));
            Record(file);
            MarkDeleted(file);
        }
        return path;
    }
    // Takes the folder away, processes the deletions, and brings it back as soon as the first of them is told. All of
    // its files must then be new.
    void ReturnWhenTold(const CString& path)
    {
        const CString aside = folder.Path(L"aside");
        ASSERT_TRUE(MoveFileW(path, aside));
        watcher.SetDeletionListener([&](const DeletionRecord& record) {
            told.push_back(record);
            const bool first = told.size() == 1;
            EXPECT_TRUE(!first || MoveFileW(aside, path));
        });
        watcher.ImmediateProcessDeletedFiles();
        watcher.SetDeletionListener(nullptr);
        for (int i = 0; i < Many; ++i)
            EXPECT_TRUE(Pending(InTree(L"d\\file " + std::to_wstring(i))));
    }
    // Processes the deletions and returns how often the disk was asked about the prefix and what is below it.
    DiskCalls::Counts CallsBelow(const CString& prefix)
    {
        const DiskCalls calls(prefix);
        watcher.ImmediateProcessDeletedFiles();
        return calls.All();
    }
};

TEST_F(DeletionCost, AFileIsLookedAtBeforeAndAfterItsRecordIsWritten)
{
    for (int i = 0; i < Many; ++i)
        DeleteIndexed(L"file " + std::to_wstring(i));
    EXPECT_EQ(CallsBelow(tree), (DiskCalls::Counts{{"GetFileAttributesW", 2 * Many}}));
    EXPECT_EQ(told.size(), std::size_t(Many));
}

TEST_F(DeletionCost, ARootIsAskedTwiceForAllOfItsFiles)
{
    watcher.SetDestBackupFolderDB(L"");
    for (int i = 0; i < Many; ++i)
        DeleteIndexed(L"file " + std::to_wstring(i));
    EXPECT_EQ(CallsBelow(RootOf(tree)), (DiskCalls::Counts{{"GetFileAttributesW", 2 * Many + 2}}));
}

TEST_F(DeletionCost, ARootThatIsAwayIsAskedOnceForAllOfItsFiles)
{
    for (int i = 0; i < Many; ++i) {
        const CString path = (L"Y:\\away\\file " + std::to_wstring(i)).c_str();
        RecordWithTime(path, 1);
        MarkDeleted(path);
    }
    EXPECT_EQ(CallsBelow(L"Y:\\"), (DiskCalls::Counts{{"GetFileAttributesW", 1}}));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), Many);
}

TEST_F(DeletionCost, NothingBelowAFolderThatIsGoneIsLookedAt)
{
    const CString path = DeleteFolder();
    std::filesystem::remove_all(path.GetString());
    EXPECT_EQ(CallsBelow(path), (DiskCalls::Counts{{"GetFileAttributesW", 3}}));
    EXPECT_EQ(told.size(), std::size_t(Many + 1));
}

TEST_F(DeletionCost, DeletedFilesWhoseFolderIsGoneCostOneLookAtOneOfThemAndOneAtTheFolder)
{
    const CString path = DeleteFilesOfFolder();
    std::filesystem::remove_all(path.GetString());
    EXPECT_EQ(CallsBelow(path), (DiskCalls::Counts{{"GetFileAttributesW", 2 * 2}}));
    EXPECT_EQ(told.size(), std::size_t(Many));
}

TEST_F(DeletionCost, DeletedFilesThatReturnWithTheirFolderWhileTheirRecordsAreWrittenAreNew)
{
    ReturnWhenTold(DeleteFilesOfFolder());
    EXPECT_EQ(told.size(), std::size_t(Many));
}

TEST_F(DeletionCost, AFileIsKeptWhoseNameFollowsThoseOfAFolderThatIsGone)
{
    const CString path = DeleteFilesOfFolder(), other = Write(L"e\\file");
    Record(other);
    MarkDeleted(other);
    std::filesystem::remove_all(path.GetString());
    watcher.ImmediateProcessDeletedFiles();
    EXPECT_EQ(told.size(), std::size_t(Many));
    EXPECT_TRUE(Pending(other));
}

TEST_F(DeletionCost, TheFilesOfAFolderThatReturnsWhileItsRecordsAreWrittenAreNew)
{
    ReturnWhenTold(DeleteFolder());
    EXPECT_EQ(told.size(), std::size_t(Many + 1));
}

TEST_F(DeletionCost, NothingIsRecordedOfADriveThatGoesAtAnyQuestion)
{
    for (int i = 0; i < 3; ++i) {
        const CString path = Write(L"file " + std::to_wstring(i));
        Record(path);
        MarkDeleted(path);
    }
    for (int questions = 0; questions < 10; ++questions) {
        const DiskCalls calls(RootOf(tree));
        calls.GoAwayAfter(questions);
        watcher.ImmediateProcessDeletedFiles();
        EXPECT_TRUE(told.empty()) << questions;
    }
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 3);
}

} // namespace
