// Walking a selection, on a disk in memory.
#include "orbwatcher4/filter/SelectionWalk.h"
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/FilterAccess.h"
#include "support/Handle.h"
#include "tests/filter/FakeDisk.h"
#include "tests/filter/ScanRecord.h"
#include "tests/orbwatcher4/LogCapture.h"
#include "tests/support/TestMachine.h"

#include <gtest/gtest.h>

namespace
{

class SelectionWalking : public testing::Test
{
protected:
    bool Walk() { return SelectionWalk(FilterAccess::MemoryOf(filter), disk, lists, &record, options).Run(); }
    void Include(const wchar_t* path, bool includeSub = true) { lists.roots.push_back({path, includeSub}); }
    void Exclude(const wchar_t* path) { lists.exclusions.push_back(path); }
    // A folder with one file in it.
    void AddFolder(const CString& path)
    {
        disk.AddFolder(path);
        disk.AddFile(path + L"\\f");
    }

    OrbFilter filter;
    FakeDisk disk;
    ScanLists lists;
    ScanRecord record;
    WalkOptions options;
    LogCapture log;
};

// A disk on which letter case tells names apart.
class DiskOfTwins final : public FakeDisk
{
public:
    DWORD List(const CString& folder, const wchar_t*, const Take& take) override
    {
        ++listed[folder];
        for (const wchar_t* name : {L"Case.txt", L"other.txt", L"case.txt"}) {
            WIN32_FIND_DATAW data = {};
            wcscpy_s(data.cFileName, name);
            if (!take(data))
                break;
        }
        return 0;
    }
};

TEST_F(SelectionWalking, NamesThatDifferInLetterCaseAloneAreLogged)
{
    DiskOfTwins twins;
    twins.AddFolder(L"C:\\a");
    Include(L"C:\\a");
    EXPECT_TRUE(SelectionWalk(FilterAccess::MemoryOf(filter), twins, lists, &record, options).Run());
    EXPECT_TRUE(log.Has(L"Two names differ in upper and lower case alone, and only one of them is backed up: "
                        L"C:\\a\\Case.txt and case.txt; rename one of them"));
    EXPECT_EQ(record.files.size(), 3u);
}

TEST_F(SelectionWalking, AFolderWithoutSuchNamesIsListedOnce)
{
    AddFolder(L"C:\\a");
    Include(L"C:\\a");
    EXPECT_TRUE(Walk());
    EXPECT_EQ(disk.listed[L"C:\\a\\"], 1);
    for (const LogCapture::Line& line : log.Lines())
        EXPECT_FALSE(line.text.starts_with(L"Two names")) << Narrow(line.text);
}

TEST_F(SelectionWalking, OnlyTheSelectedFoldersAreWalked)
{
    AddFolder(L"C:\\a");
    AddFolder(L"C:\\a\\sub");
    AddFolder(L"C:\\b");
    Include(L"C:\\a\\");
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.files, (Counts{{L"C:\\a\\f", 1}, {L"C:\\a\\sub\\f", 1}}));
    EXPECT_EQ(record.folders, (Counts{{L"C:\\a\\", 1}, {L"C:\\a\\sub\\", 1}}));
    EXPECT_FALSE(disk.listed.contains(L"C:\\b\\"));
}

TEST_F(SelectionWalking, IncludedFoldersInsideEachOtherAreWalkedOnceInWhateverOrder)
{
    AddFolder(L"C:\\a");
    AddFolder(L"C:\\a\\b");
    AddFolder(L"C:\\a\\b\\c");
    Include(L"C:\\a\\b\\", false);
    Include(L"C:\\a\\b\\c");
    Include(L"C:\\a");
    Include(L"C:\\a\\");
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.files, (Counts{{L"C:\\a\\f", 1}, {L"C:\\a\\b\\f", 1}, {L"C:\\a\\b\\c\\f", 1}}));
    EXPECT_EQ(record.folders, (Counts{{L"C:\\a\\", 1}, {L"C:\\a\\b\\", 1}, {L"C:\\a\\b\\c\\", 1}}));
}

TEST_F(SelectionWalking, ARuleInOtherLettersOfAnyAlphabetNamesTheSameFolder)
{
    AddFolder(L"C:\\a");
    AddFolder(L"C:\\a\\\u00E4");
    Include(L"C:\\a");
    Include(L"C:\\a\\\u00C4");
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.FilesReported(), 2);
}

TEST_F(SelectionWalking, AnExcludedFolderIsNotReadAndADeeperIncludedOneIs)
{
    AddFolder(L"C:\\a");
    AddFolder(L"C:\\a\\x");
    AddFolder(L"C:\\a\\x\\y");
    AddFolder(L"C:\\a\\x\\z");
    Include(L"C:\\a\\");
    Include(L"C:\\a\\x\\y\\");
    Exclude(L"c:\\A\\X\\");
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.files, (Counts{{L"C:\\a\\f", 1}, {L"C:\\a\\x\\y\\f", 1}}));
    EXPECT_FALSE(disk.listed.contains(L"C:\\a\\x\\"));
}

TEST_F(SelectionWalking, AnExclusionWinsOverAnIncludeOfTheSameFolder)
{
    AddFolder(L"C:\\a");
    Include(L"C:\\a\\");
    Include(L"C:\\a\\", false);
    Exclude(L"C:\\a\\");
    EXPECT_TRUE(Walk());
    EXPECT_TRUE(record.files.empty());
    EXPECT_TRUE(record.folders.empty());
}

TEST_F(SelectionWalking, AFolderWithoutSubFoldersStaysOpenForALaterWalkAndItsFilesAreNotReportedAgain)
{
    AddFolder(L"C:\\n");
    AddFolder(L"C:\\n\\sub");
    disk.AddFolder(L"C:\\d");
    disk.AddJunction(L"C:\\d\\j", L"C:\\n");
    Include(L"C:\\n\\", false);
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.files, (Counts{{L"C:\\n\\f", 1}}));
    lists.roots = {{L"C:\\d", true}};
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.files, (Counts{{L"C:\\n\\f", 1}, {L"C:\\n\\sub\\f", 1}}));
    EXPECT_EQ(record.folders[L"C:\\n\\"], 1);
}

TEST_F(SelectionWalking, FilesOfAFolderThatCouldNotBeReadToItsEndAreReportedByALaterWalk)
{
    AddFolder(L"C:\\n");
    disk.listErrors[L"C:\\n\\"] = ERROR_ACCESS_DENIED;
    Include(L"C:\\n\\", false);
    EXPECT_TRUE(Walk());
    disk.listErrors.clear();
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.files, (Counts{{L"C:\\n\\f", 1}}));
}

TEST_F(SelectionWalking, ASingleFileIsReportedOnceAlsoWhenItsFolderIsWalked)
{
    AddFolder(L"C:\\a");
    AddFolder(L"C:\\b");
    Include(L"C:\\a");
    lists.files = {L"c:\\A\\F", L"C:\\a\\f", L"C:\\b\\f", L"C:\\b\\gone"};
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.files, (Counts{{L"c:\\A\\F", 1}, {L"C:\\b\\f", 1}}));
    EXPECT_EQ(record.sizes[L"C:\\b\\f"], 7u);
    EXPECT_FALSE(disk.listed.contains(L"C:\\b\\"));
    EXPECT_TRUE(log.Has(L"The selected file C:\\b\\gone is not there"));
}

TEST_F(SelectionWalking, TwoJunctionsToOneTargetWalkItOnceAndTheSecondIsLogged)
{
    AddFolder(L"C:\\a");
    AddFolder(L"C:\\t");
    disk.AddJunction(L"C:\\a\\one", L"C:\\t");
    disk.AddJunction(L"C:\\a\\two", L"C:\\t");
    Include(L"C:\\a");
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.files, (Counts{{L"C:\\a\\f", 1}, {L"C:\\t\\f", 1}}));
    EXPECT_EQ(record.folders, (Counts{{L"C:\\a\\", 1}, {L"C:\\t\\", 1}}));
    EXPECT_EQ(log.Count(L"Skipping already-scanned directory C:\\a\\two\\ mapping to C:\\t\\"), 1);
    CString through(L"c:\\a\\ONE\\f");
    filter.UpdateJunctionDestination(through);
    EXPECT_STREQ(through, L"C:\\t\\f");
}

TEST_F(SelectionWalking, AJunctionToItsOwnParentIsNotEntered)
{
    AddFolder(L"C:\\a");
    disk.AddJunction(L"C:\\a\\up", L"C:\\a");
    Include(L"C:\\a");
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.files, (Counts{{L"C:\\a\\f", 1}}));
    EXPECT_EQ(disk.listed[L"C:\\a\\"], 1);
}

TEST_F(SelectionWalking, AJunctionWhoseTargetIsGoneIsLoggedOnceAndNotEntered)
{
    disk.AddFolder(L"C:\\a");
    disk.AddJunction(L"C:\\a\\j", L"D:\\gone");
    disk.AddFile(L"C:\\file");
    disk.AddJunction(L"C:\\a\\k", L"C:\\file");
    Include(L"C:\\a");
    EXPECT_TRUE(Walk());
    EXPECT_EQ(log.Count(L"Skipping invalid junction point C:\\a\\j\\ mapping to D:\\gone"), 1);
    EXPECT_EQ(log.Count(L"Skipping invalid junction point C:\\a\\k\\ mapping to C:\\file"), 1);
    EXPECT_EQ(record.folders, (Counts{{L"C:\\a\\", 1}}));
}

TEST_F(SelectionWalking, AHiddenSystemJunctionIsNeverEntered)
{
    disk.AddFolder(L"C:\\a");
    AddFolder(L"C:\\t");
    disk.AddJunction(L"C:\\a\\j", L"C:\\t", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM);
    Include(L"C:\\a");
    for (const bool includeHidden : {false, true}) {
        options.includeHidden = includeHidden;
        EXPECT_TRUE(Walk());
        filter.ClearJunctionCache();
    }
    EXPECT_TRUE(record.files.empty());
    EXPECT_EQ(disk.reads, 0);
}

TEST_F(SelectionWalking, AJunctionIntoAnExcludedFolderIsNotFollowed)
{
    AddFolder(L"C:\\a");
    AddFolder(L"C:\\a\\x");
    AddFolder(L"C:\\a\\x\\deep");
    AddFolder(L"C:\\a\\x\\in");
    AddFolder(L"C:\\a\\x\\in\\sub");
    disk.AddJunction(L"C:\\a\\j", L"C:\\a\\x\\deep");
    disk.AddJunction(L"C:\\a\\k", L"C:\\a\\x\\in\\sub");
    Include(L"C:\\a");
    Include(L"C:\\a\\x\\in");
    Exclude(L"C:\\a\\x");
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.files, (Counts{{L"C:\\a\\f", 1}, {L"C:\\a\\x\\in\\f", 1}, {L"C:\\a\\x\\in\\sub\\f", 1}}));
}

TEST_F(SelectionWalking, ACloudFolderIsWalkedLikeAnyOther)
{
    disk.AddFolder(L"C:\\a");
    disk.AddLink(L"C:\\a\\cloud", WithHeader(0x9000001A, {}));
    disk.AddFile(L"C:\\a\\cloud\\f");
    Include(L"C:\\a");
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.files, (Counts{{L"C:\\a\\cloud\\f", 1}}));
}

TEST_F(SelectionWalking, ASelectedLinkIsWalkedByItsOwnNameAlsoAfterAJunctionHasLedToItsTarget)
{
    AddFolder(L"C:\\a");
    AddFolder(L"C:\\t");
    disk.AddJunction(L"C:\\a\\j", L"C:\\t");
    disk.AddJunction(L"C:\\link", L"C:\\t");
    disk.AddFile(L"C:\\link\\f"); // as the system shows it
    Include(L"C:\\link");
    Include(L"C:\\a");
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.files, (Counts{{L"C:\\a\\f", 1}, {L"C:\\t\\f", 1}, {L"C:\\link\\f", 1}}));
}

TEST_F(SelectionWalking, ASelectedLinkInASelectedFolderKeepsItsOwnName)
{
    AddFolder(L"C:\\a");
    AddFolder(L"C:\\t");
    disk.AddJunction(L"C:\\a\\link", L"C:\\t");
    disk.AddFile(L"C:\\a\\link\\f");                                   // as the system shows it
    FilterAccess::MemoryOf(filter).Remember(L"C:\\a\\link", L"C:\\t"); // before it was selected
    Include(L"C:\\a");
    Include(L"C:\\a\\LINK");
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.files, (Counts{{L"C:\\a\\f", 1}, {L"C:\\a\\LINK\\f", 1}}));
    CString path(L"C:\\a\\link\\f");
    filter.UpdateJunctionDestination(path);
    EXPECT_STREQ(path, L"C:\\a\\link\\f");
}

TEST_F(SelectionWalking, ASelectedLinkToASelectedFolderIsWalkedOnlyThere)
{
    AddFolder(L"C:\\deep");
    AddFolder(L"C:\\deep\\t");
    disk.AddJunction(L"C:\\link", L"C:\\deep\\t");
    Include(L"C:\\link");
    Include(L"C:\\deep");
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.files, (Counts{{L"C:\\deep\\f", 1}, {L"C:\\deep\\t\\f", 1}}));
    EXPECT_TRUE(log.Has(L"Skipping already-scanned directory C:\\link\\ mapping to C:\\deep\\t\\"));
}

TEST_F(SelectionWalking, AJunctionThatHasBecomeAPlainFolderIsForgotten)
{
    AddFolder(L"C:\\a");
    AddFolder(L"C:\\a\\was");
    FilterAccess::MemoryOf(filter).Remember(L"C:\\A\\was", L"D:\\old");
    Include(L"C:\\a");
    EXPECT_TRUE(Walk());
    CString path(L"C:\\a\\was\\f");
    filter.UpdateJunctionDestination(path);
    EXPECT_STREQ(path, L"C:\\a\\was\\f");
}

TEST_F(SelectionWalking, ASelectedFolderThatWasAJunctionIsForgotten)
{
    for (const bool includeSub : {false, true}) {
        FilterAccess::MemoryOf(filter).Remember(L"C:\\a", L"D:\\old");
        AddFolder(L"C:\\a");
        lists.roots = {{L"C:\\a", includeSub}};
        EXPECT_TRUE(Walk());
        CString path(L"C:\\a\\f");
        filter.UpdateJunctionDestination(path);
        EXPECT_STREQ(path, L"C:\\a\\f");
    }
}

TEST_F(SelectionWalking, AKnownJunctionThatLeadsElsewhereNowIsCorrectedAlsoWhenItsTargetIsKnown)
{
    AddFolder(L"C:\\a");
    disk.AddJunction(L"C:\\a\\j", L"C:\\a");
    FilterAccess::MemoryOf(filter).Remember(L"C:\\a\\j", L"D:\\old");
    Include(L"C:\\a");
    EXPECT_TRUE(Walk());
    CString path(L"C:\\a\\j\\f");
    filter.UpdateJunctionDestination(path);
    EXPECT_STREQ(path, L"C:\\a\\f");
}

TEST_F(SelectionWalking, WhatCannotBeReadIsLoggedWithItsErrorAndTheWalkGoesOn)
{
    for (const wchar_t* name : {L"C:\\a", L"C:\\a\\b", L"C:\\a\\c", L"C:\\a\\d"})
        AddFolder(name);
    disk.listErrors[L"C:\\a\\b\\"] = ERROR_ACCESS_DENIED;
    disk.listErrors[L"C:\\a\\c\\"] = ERROR_PATH_NOT_FOUND; // gone since it was listed
    disk.lateErrors[L"C:\\a\\"] = ERROR_CRC;
    Include(L"C:\\missing");
    Include(L"C:\\a");
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.files, (Counts{{L"C:\\a\\f", 1}, {L"C:\\a\\d\\f", 1}}));
    EXPECT_TRUE(log.Has(L"The folder C:\\a\\b\\ could not be read to its end: 5"));
    EXPECT_TRUE(log.Has(L"The folder C:\\a\\c\\ could not be read to its end: 3"));
    EXPECT_TRUE(log.Has(L"The folder C:\\a\\ could not be read to its end: 23"));
    EXPECT_FALSE(record.folders.contains(L"C:\\missing\\")); // who hears of a folder takes it for one that is there
}

TEST_F(SelectionWalking, TheAbortEventEndsTheWalkBeforeTheNextEntry)
{
    const KernelHandle abort(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    for (const wchar_t* name : {L"C:\\a", L"C:\\a\\b"})
        AddFolder(name);
    disk.AddFile(L"C:\\a\\g");
    Include(L"C:\\a");
    options.abort = abort.Get();
    record.onFile = [&] { SetEvent(abort.Get()); };
    EXPECT_FALSE(Walk());
    EXPECT_EQ(record.FilesReported(), 1);
    filter.ClearJunctionCache();
    ScanRecord nothing;
    EXPECT_FALSE(SelectionWalk(FilterAccess::MemoryOf(filter), disk, lists, &nothing, options).Run());
    EXPECT_EQ(nothing.asked, 0);
    EXPECT_TRUE(nothing.folders.empty());
}

TEST_F(SelectionWalking, ABadAbortHandleEndsTheWalk)
{
    AddFolder(L"C:\\a");
    Include(L"C:\\a");
    options.abort = reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(0x7FFFFFF0));
    EXPECT_FALSE(Walk());
}

TEST_F(SelectionWalking, ACallerThatSaysNoEndsTheWalkAtTheNextEntry)
{
    AddFolder(L"C:\\a");
    disk.AddFile(L"C:\\a\\g");
    disk.AddFile(L"C:\\a\\h");
    Include(L"C:\\a");
    record.abortAt = 2;
    EXPECT_FALSE(Walk());
    EXPECT_EQ(record.asked, 2);
    EXPECT_EQ(record.files, (Counts{{L"C:\\a\\f", 1}}));
}

TEST_F(SelectionWalking, SizesHaveSixtyFourBits)
{
    disk.AddFolder(L"C:\\a");
    disk.AddFile(L"C:\\a\\big", 0x123456789ull);
    Include(L"C:\\a");
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.sizes[L"C:\\a\\big"], 0x123456789ull);
}

TEST_F(SelectionWalking, FoldersTwoThousandDeepAreWalked)
{
    CString folder = L"C:\\a";
    for (int i = 0; i < 2000; ++i, folder += L"\\d")
        AddFolder(folder);
    Include(L"C:\\a");
    EXPECT_TRUE(Walk());
    EXPECT_EQ(record.FilesReported(), 2000);
}

TEST(WalkDecision, HiddenFoldersAndSystemJunctions)
{
    constexpr DWORD folder = FILE_ATTRIBUTE_DIRECTORY, hidden = folder | FILE_ATTRIBUTE_HIDDEN;
    constexpr DWORD junction = folder | FILE_ATTRIBUTE_REPARSE_POINT, system = FILE_ATTRIBUTE_SYSTEM;
    EXPECT_TRUE(DirectoryWalk::MayEnter(folder, false));
    EXPECT_FALSE(DirectoryWalk::MayEnter(hidden, false));
    EXPECT_TRUE(DirectoryWalk::MayEnter(hidden, true));
    EXPECT_TRUE(DirectoryWalk::MayEnter(hidden | system, true));
    EXPECT_TRUE(DirectoryWalk::MayEnter(junction | system, false));
    EXPECT_FALSE(DirectoryWalk::MayEnter(junction | hidden | system, true));
}

// Counts what a walk asks before it walks, and aborts at the second question.
class DeadShare : public FakeDisk
{
public:
    explicit DeadShare(HANDLE abort) : m_abort(abort) {}
    DWORD Attributes(const CString& path) override
    {
        Ask();
        return FakeDisk::Attributes(path);
    }
    std::optional<unsigned __int64> FileSize(const CString&) override
    {
        Ask();
        return std::nullopt;
    }

    int asked = 0;

private:
    void Ask()
    {
        if (++asked == 2)
            SetEvent(m_abort);
    }

    const HANDLE m_abort;
};

TEST_F(SelectionWalking, AnAbortIsHeededBetweenTheRootsThatAreAskedFor)
{
    const KernelHandle abort(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    DeadShare share(abort.Get());
    options.abort = abort.Get();
    for (int number = 0; number < 100; ++number)
        Include((L"C:\\" + std::to_wstring(number)).c_str());
    EXPECT_FALSE(SelectionWalk(FilterAccess::MemoryOf(filter), share, lists, &record, options).Run());
    EXPECT_LE(share.asked, 3);
}

TEST_F(SelectionWalking, AnAbortIsHeededBetweenSingleFiles)
{
    const KernelHandle abort(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    DeadShare share(abort.Get());
    options.abort = abort.Get();
    for (int number = 0; number < 100; ++number)
        lists.files.push_back((L"C:\\" + std::to_wstring(number)).c_str());
    EXPECT_FALSE(SelectionWalk(FilterAccess::MemoryOf(filter), share, lists, &record, options).Run());
    EXPECT_LE(share.asked, 3);
}

} // namespace
