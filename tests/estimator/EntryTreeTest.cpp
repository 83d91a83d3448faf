// The estimator's cache tree.
#include "orbwatcher4/estimator/EntryTree.h"
#include "tests/support/TestMachine.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace
{

class EntryTree : public testing::Test
{
protected:
    void Insert(const wchar_t* path, std::uint64_t size = 1) { InsertFile(root, path, size); }
    const FSEntry* Find(const wchar_t* path) const { return IsPathCached(root, path); }
    // Every file with its size, by the path that the walk puts together.
    std::map<std::wstring, std::uint64_t> Files() const
    {
        std::map<std::wstring, std::uint64_t> files;
        EntryWalk walk(root, nullptr);
        for (auto step = walk.Next(); step != EntryWalk::Step::Done; step = walk.Next())
            if (step == EntryWalk::Step::File)
                files[std::wstring(walk.Path())] = walk.File().size;
        return files;
    }

    const FSEntrySetPtr root = MakeEntrySet();
};
using Sizes = std::map<std::wstring, std::uint64_t>;

TEST_F(EntryTree, AFileIsFoundInAnyCaseWithAndWithoutBackslashes)
{
    Insert(L"C:\\Data\\\\Photo.JPG\\", 7);
    for (const wchar_t* path : {L"c:\\data\\photo.jpg", L"C:\\DATA\\PHOTO.JPG\\\\", L"C:\\\\Data\\Photo.jpg"}) {
        ASSERT_TRUE(Find(path)) << Narrow(path);
        EXPECT_EQ(Find(path)->size, 7u);
        EXPECT_STREQ(Find(path)->name, L"photo.jpg");
        EXPECT_FALSE(Find(path)->children);
    }
    EXPECT_EQ(Files(), (Sizes{{L"c:\\data\\photo.jpg", 7}}));
}

TEST_F(EntryTree, CaseIsOfNoMatterInAnyAlphabet)
{
    Insert(L"C:\\\u00C4rger\\\u03A3", 3);
    Insert(L"C:\\\u00E4RGER\\\u03C3", 4);
    EXPECT_EQ(Files(), (Sizes{{L"c:\\\u00E4rger\\\u03C3", 3}}));
    EXPECT_TRUE(Find(L"c:\\\u00C4RGER\\\u03C3"));
}

TEST_F(EntryTree, LettersThatShareTheirLowerCaseAreNotOneName)
{
    for (const wchar_t* path : {L"C:\\K", L"C:\\\u212A", L"C:\\\u03A9", L"C:\\\u2126", L"C:\\I", L"C:\\\u0130"})
        Insert(path);
    EXPECT_EQ(Files().size(), 6u);
}

TEST_F(EntryTree, FoldersAreMadeOnTheWayAndHaveNoSize)
{
    Insert(L"C:\\a\\b\\c", 5);
    for (const wchar_t* path : {L"C:\\", L"C:\\a\\", L"C:\\a\\b"}) {
        ASSERT_TRUE(Find(path)) << Narrow(path);
        EXPECT_TRUE(Find(path)->children);
        EXPECT_EQ(Find(path)->size, 0u);
    }
    EXPECT_FALSE(Find(L"C:\\b"));
    EXPECT_FALSE(Find(L"C:\\a\\b\\c\\d"));
    EXPECT_FALSE(Find(L"D:\\"));
}

TEST_F(EntryTree, NothingIsMadeByLookingUp)
{
    EXPECT_FALSE(FindOrCreateEntrySet(root, L"C:\\a\\b", false));
    EXPECT_TRUE(root->empty());
    EXPECT_EQ(FindOrCreateEntrySet(root, L"C:\\", false), root);
    EXPECT_TRUE(FindOrCreateEntrySet(root, L"C:\\a\\b", true));
    EXPECT_TRUE(Find(L"C:\\a"));
    EXPECT_FALSE(Find(L"C:\\a\\b"));
}

TEST_F(EntryTree, AnEntryThatIsThereStaysAsItIs)
{
    Insert(L"C:\\a", 1);
    Insert(L"C:\\A", 2);
    EXPECT_EQ(Find(L"C:\\a")->size, 1u);
    Insert(L"C:\\d\\f", 1);
    Insert(L"C:\\d", 9);
    EXPECT_TRUE(Find(L"C:\\d")->children);
}

TEST_F(EntryTree, AFileThatTurnsOutToBeAFolderBecomesOne)
{
    Insert(L"C:\\a", 5);
    Insert(L"C:\\a\\b", 2);
    EXPECT_EQ(Find(L"C:\\a")->size, 0u);
    EXPECT_EQ(Files(), (Sizes{{L"c:\\a\\b", 2}}));
}

TEST_F(EntryTree, ASharesServerKeepsItsBackslashes)
{
    Insert(L"\\\\Server\\Share\\f", 1);
    Insert(L"\\\\?\\C:\\f", 2);
    Insert(L"server\\share\\f", 3);
    EXPECT_EQ(Files(), (Sizes{{L"\\\\server\\share\\f", 1}, {L"\\\\?\\c:\\f", 2}, {L"server\\share\\f", 3}}));
    EXPECT_TRUE(Find(L"\\\\SERVER\\share\\"));
}

TEST_F(EntryTree, PathsThatNoDiskCanHaveAreNotKept)
{
    for (const wchar_t* path : {L"", L"\\", L"\\\\", L"?", L"C:\\?\\f", L"C:\\a\\?"}) {
        Insert(path);
        EXPECT_FALSE(Find(path)) << Narrow(path);
    }
    InsertFile(root, nullptr, 1);
    EXPECT_TRUE(Files().empty());
}

TEST_F(EntryTree, AnEntryIsHashedByItsName)
{
    FSEntry entry;
    entry.name = L"photo.jpg";
    EXPECT_EQ(fs_hash_cs()(entry), HashWideString32(L"photo.jpg", 18));
    EXPECT_FALSE(std::equal_to<FSEntry>()(entry, FSEntry()));
}

TEST_F(EntryTree, AWalkTellsWhereFoldersBeginAndEnd)
{
    Insert(L"C:\\a\\f");
    std::wstring told;
    EntryWalk walk(root, nullptr);
    for (auto step = walk.Next(); step != EntryWalk::Step::Done; step = walk.Next())
        told += (step == EntryWalk::Step::FolderBegins ? L"("
                 : step == EntryWalk::Step::FolderEnds ? L")"
                                                       : L".") +
                std::wstring(walk.Path());
    EXPECT_EQ(told, L"(c:(c:\\a.c:\\a\\f)c:\\a)c:");
    EXPECT_EQ(walk.Next(), EntryWalk::Step::Done);
}

TEST_F(EntryTree, AWalkMayBeginInAFolder)
{
    Insert(L"C:\\a\\f");
    EntryWalk walk(Find(L"C:\\a")->children, L"c:\\a");
    EXPECT_EQ(walk.Next(), EntryWalk::Step::File);
    EXPECT_STREQ(walk.Path(), L"c:\\a\\f");
    EXPECT_EQ(walk.Next(), EntryWalk::Step::Done);
    EXPECT_EQ(EntryWalk(nullptr, nullptr).Next(), EntryWalk::Step::Done);
}

TEST_F(EntryTree, AVeryDeepTreeIsWalkedAndTakenApart)
{
    std::wstring deep = L"C:";
    while (deep.size() < 12000)
        deep += L"\\d";
    {
        const FSEntrySetPtr tree = MakeEntrySet();
        InsertFile(tree, deep.c_str(), 1);
        EntryWalk walk(tree, nullptr);
        int files = 0;
        for (auto step = walk.Next(); step != EntryWalk::Step::Done; step = walk.Next())
            files += step == EntryWalk::Step::File;
        EXPECT_EQ(files, 1);
    }
    Insert(deep.c_str());
    const FSEntrySetPtr kept = Find(L"C:\\d\\d")->children; // lives on when the tree ends
    FSEntrySetPtr(root)->clear();
    EXPECT_EQ(kept->size(), 1u);
}

} // namespace
