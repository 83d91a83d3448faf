// The walks of the filter over real folders.
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/FilterAccess.h"
#include "orbwatcher4/filter/WalkObserver.h"
#include "support/Handle.h"
#include "support/SystemPath.h"
#include "tests/filter/FolderRule.h"
#include "tests/filter/ScanRecord.h"
#include "tests/orbwatcher4/LogCapture.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestMachine.h"

#include <gtest/gtest.h>

#include <windows.h>

namespace
{

FilterPtr FileRule(const CString& path)
{
    const FilterPtr rule = FolderRule(path);
    rule->type = 0;
    return rule;
}

class DirectoryScan : public testing::Test
{
protected:
    bool Scan(const wchar_t* name = L"", bool recurse = true, bool includeHidden = false)
    {
        return filter.ScanDirectory(folder.Path(name), L"*", includeHidden, &record, recurse);
    }
    bool WalkSelection() { return filter.SmartScanDirectory(folder.Path(), L"*", false, &record, nullptr, false); }
    std::wstring In(const wchar_t* name) { return std::wstring(folder.Path(name)); }

    TempFolder folder;
    OrbFilter filter;
    ScanRecord record;
    LogCapture log;
};

TEST_F(DirectoryScan, AFileIsReportedWithItsSize)
{
    folder.WriteBytes(L"f.txt", "12345");
    EXPECT_TRUE(Scan(L"f.txt"));
    EXPECT_EQ(record.files, (Counts{{In(L"f.txt"), 1}}));
    EXPECT_EQ(record.sizes[In(L"f.txt")], 5u);
    EXPECT_TRUE(record.folders.empty());
    EXPECT_FALSE(Scan(L"gone"));
    EXPECT_TRUE(filter.ScanDirectory(folder.Path(L"f.txt"), L"*", false, nullptr, true));
}

TEST_F(DirectoryScan, AFileThatCannotBeOpenedIsNone)
{
    folder.WriteBytes(L"f.txt", "1");
    const FileHandle locked(CreateFileW(folder.Path(L"f.txt"), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_FALSE(Scan(L"f.txt"));
    EXPECT_TRUE(record.files.empty());
    // In a selection it is one all the same: it can be backed up later.
    filter.AddSingleFilter(FileRule(folder.Path(L"f.txt")), true);
    EXPECT_TRUE(WalkSelection());
    EXPECT_EQ(record.files, (Counts{{In(L"f.txt"), 1}}));
}

TEST_F(DirectoryScan, ATreeIsReportedWithFoldersThatEndInABackslash)
{
    folder.WriteBytes(L"t\\a", "1");
    folder.WriteBytes(L"t\\sub\\b", "22");
    EXPECT_TRUE(Scan(L"t"));
    EXPECT_EQ(record.files, (Counts{{In(L"t\\a"), 1}, {In(L"t\\sub\\b"), 1}}));
    EXPECT_EQ(record.folders, (Counts{{In(L"t\\"), 1}, {In(L"t\\sub\\"), 1}}));
}

TEST_F(DirectoryScan, WithoutRecursionOnlyTheFolderItselfIsReadAndStaysOpen)
{
    folder.WriteBytes(L"t\\a", "1");
    folder.WriteBytes(L"t\\sub\\b", "22");
    EXPECT_TRUE(Scan(L"t", false));
    EXPECT_EQ(record.files, (Counts{{In(L"t\\a"), 1}}));
    EXPECT_TRUE(Scan());
    EXPECT_EQ(record.files, (Counts{{In(L"t\\a"), 1}, {In(L"t\\sub\\b"), 1}}));
}

TEST_F(DirectoryScan, TheFolderThatIsNamedIsReadEachTimeAndWhatIsBelowItOnce)
{
    folder.WriteBytes(L"t\\a", "1");
    folder.WriteBytes(L"t\\sub\\b", "22");
    EXPECT_TRUE(Scan(L"t", false));
    EXPECT_TRUE(Scan(L"t"));
    EXPECT_TRUE(Scan(L"t"));
    EXPECT_EQ(record.files, (Counts{{In(L"t\\a"), 3}, {In(L"t\\sub\\b"), 1}}));
}

TEST_F(DirectoryScan, HiddenFilesAreReportedAndHiddenFoldersAreNotEnteredUnlessAsked)
{
    folder.WriteBytes(L"h\\a", "1");
    folder.WriteBytes(L"f", "1");
    SetFileAttributesW(folder.Path(L"h"), FILE_ATTRIBUTE_HIDDEN);
    SetFileAttributesW(folder.Path(L"f"), FILE_ATTRIBUTE_HIDDEN);
    EXPECT_TRUE(Scan());
    EXPECT_EQ(record.files, (Counts{{In(L"f"), 1}}));
    EXPECT_TRUE(Scan(L"", true, true));
    EXPECT_EQ(record.files, (Counts{{In(L"f"), 2}, {In(L"h\\a"), 1}}));
}

TEST_F(DirectoryScan, TheCallerIsAskedBeforeEachEntryAlsoBeforeTheDots)
{
    folder.WriteBytes(L"a", "1");
    record.abortAt = 1;
    EXPECT_FALSE(Scan());
    EXPECT_TRUE(record.files.empty());
    record.abortAt = 0;
    record.asked = 0;
    EXPECT_TRUE(Scan());
    EXPECT_EQ(record.asked, 3);
}

TEST_F(DirectoryScan, ThePatternOfAPlainScanGoesToTheSystem)
{
    folder.WriteBytes(L"a.txt", "1");
    folder.WriteBytes(L"b.doc", "1");
    folder.WriteBytes(L"sub\\c.txt", "1");
    EXPECT_TRUE(filter.ScanDirectory(folder.Path(), L"*.txt", false, &record, true));
    EXPECT_EQ(record.files, (Counts{{In(L"a.txt"), 1}}));
}

TEST_F(DirectoryScan, ThePatternOfASmartScanIsForFilesAlone)
{
    folder.WriteBytes(L"a.txt", "1");
    folder.WriteBytes(L"b.doc", "1");
    folder.WriteBytes(L"sub\\c.TXT", "1");
    for (int run = 1; run <= 2; ++run) { // each begins with no directory known
        EXPECT_TRUE(filter.SmartScanDirectory(folder.Path(), L"*.txt", false, &record, nullptr, true));
        EXPECT_EQ(record.files, (Counts{{In(L"a.txt"), run}, {In(L"sub\\c.TXT"), run}}));
    }
}

TEST_F(DirectoryScan, ASmartScanOfWhatIsNoFolderReportsTheFileOrNothing)
{
    folder.WriteBytes(L"f", "123");
    EXPECT_TRUE(filter.SmartScanDirectory(folder.Path(L"f"), L"*", false, &record, nullptr, true));
    EXPECT_TRUE(filter.SmartScanDirectory(folder.Path(L"gone"), L"*", false, &record, nullptr, true));
    EXPECT_EQ(record.files, (Counts{{In(L"f"), 1}}));
    EXPECT_EQ(record.sizes[In(L"f")], 3u);
    EXPECT_TRUE(record.folders.empty());
}

TEST_F(DirectoryScan, FoldersWhoseNamesEndInDotsOrSpacesAreWalked)
{
    for (const wchar_t* name : {L"dot.", L"space "}) {
        ASSERT_TRUE(CreateDirectoryW(SystemPath(folder.Path(name)), nullptr));
        const CString file = folder.Path(name) + L"\\f";
        ASSERT_TRUE(FileHandle(
            CreateFileW(SystemPath(file), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr)));
    }
    EXPECT_TRUE(Scan());
    EXPECT_EQ(record.files, (Counts{{In(L"dot.\\f"), 1}, {In(L"space \\f"), 1}}));
    for (const wchar_t* name : {L"dot.", L"space "}) {
        DeleteFileW(SystemPath(folder.Path(name) + L"\\f"));
        RemoveDirectoryW(SystemPath(folder.Path(name)));
    }
}

TEST_F(DirectoryScan, PathsBeyondTwoHundredAndSixtyUnitsAreWalkedOn)
{
    CString deep = folder.Path(L"deep");
    std::vector<CString> made;
    for (int i = 0; i < 12; ++i, deep += L"\\" + CString(L'x', 50)) {
        ASSERT_TRUE(CreateDirectoryW(SystemPath(deep), nullptr));
        made.push_back(deep);
    }
    EXPECT_TRUE(Scan());
    EXPECT_EQ(record.folders.size(), 13u);
    EXPECT_EQ(record.folders[std::wstring(made.back()) + L"\\"], 1);
    for (; !made.empty(); made.pop_back())
        RemoveDirectoryW(SystemPath(made.back()));
}

TEST_F(DirectoryScan, ALinkIsFollowedToItsTargetOnce)
{
    folder.WriteBytes(L"t\\f", "1");
    folder.WriteBytes(L"walk\\a", "1");
    ASSERT_TRUE(MakeLink(In(L"walk\\one"), In(L"t")));
    ASSERT_TRUE(MakeLink(In(L"walk\\two"), In(L"t")));
    ASSERT_TRUE(MakeLink(In(L"walk\\up"), In(L"walk")));
    EXPECT_TRUE(Scan(L"walk"));
    EXPECT_EQ(record.FilesReported(), 2);
    EXPECT_EQ(record.folders.size(), 2u);
    CString one = folder.Path(L"walk\\one\\f"), two = folder.Path(L"walk\\two\\f");
    filter.UpdateJunctionDestination(one);
    filter.UpdateJunctionDestination(two);
    EXPECT_EQ(record.files[std::wstring(one)] + record.files[std::wstring(two)], 1); // one of them is known
    for (const wchar_t* name : {L"walk\\one", L"walk\\two", L"walk\\up"})
        EXPECT_TRUE(RemoveLink(In(name)));
}

TEST_F(DirectoryScan, AHundredThousandFilesInTwoThousandFoldersAreReportedOnceEach)
{
    for (int i = 0; i < 2000; ++i) {
        const CString name =
            L"d" + CString(std::to_wstring(i % 20).c_str()) + L"\\s" + CString(std::to_wstring(i).c_str());
        std::filesystem::create_directories(folder.Path(name).GetString());
        for (int file = 0; file < 50; ++file)
            FileHandle(CreateFileW(folder.Path(name) + L"\\f" + CString(std::to_wstring(file).c_str()), GENERIC_WRITE,
                                   0, nullptr, CREATE_NEW, 0, nullptr));
    }
    filter.AddSingleFilter(FolderRule(folder.Path()), true);
    filter.AddSingleFilter(FolderRule(folder.Path(L"d3\\")), true);
    EXPECT_TRUE(WalkSelection());
    EXPECT_EQ(record.files.size(), 100000u);
    EXPECT_EQ(record.FilesReported(), 100000);
    EXPECT_EQ(record.folders.size(), 2021u);
}

TEST_F(DirectoryScan, RulesMayBeEditedWhileTheirSelectionIsWalked)
{
    folder.WriteBytes(L"a\\f", "1");
    folder.WriteBytes(L"b\\f", "1");
    filter.AddSingleFilter(FolderRule(folder.Path(L"a\\")), true);
    filter.AddSingleFilter(FolderRule(folder.Path(L"b\\")), true);
    record.onFile = [&] {
        filter.ClearAll();
        filter.ClearJunctionCache(); // no lock is held
    };
    EXPECT_TRUE(WalkSelection());
    EXPECT_EQ(record.FilesReported(), 2);
    EXPECT_TRUE(WalkSelection());
    EXPECT_EQ(record.FilesReported(), 2);
}

TEST_F(DirectoryScan, TheListsHoldWhatARuleCoversWhole)
{
    const auto add = [&](const wchar_t* path, WatcherEnum::IncEx kind, bool includeSub, const wchar_t* mask) {
        const FilterPtr rule = FolderRule(path, kind);
        rule->includeSub = includeSub;
        rule->mask = mask;
        filter.AddSingleFilter(rule, true);
    };
    add(L"C:\\in\\", WatcherEnum::Include, true, L".doc");
    add(L"C:\\own\\x\\", WatcherEnum::Include, false, L"");
    add(L"C:\\out\\", WatcherEnum::Exclude, true, L"");
    add(L"C:\\masked\\", WatcherEnum::Exclude, true, L".tmp");
    add(L"C:\\flat\\", WatcherEnum::Exclude, false, L"");
    filter.AddSingleFilter(FileRule(L"C:\\in\\f"), true);
    const ScanLists lists = filter.CollectScanLists(L"c:\\whatever");
    ASSERT_EQ(lists.roots.size(), 2u);
    EXPECT_STREQ(lists.roots[0].path, L"C:\\own\\x\\");
    EXPECT_FALSE(lists.roots[0].includeSub);
    EXPECT_TRUE(lists.roots[1].includeSub);
    EXPECT_EQ(lists.exclusions, std::vector<CString>{L"C:\\out\\"});
    EXPECT_EQ(lists.files, std::vector<CString>{L"C:\\in\\f"});
    EXPECT_TRUE(filter.CollectScanLists(L"D:\\").roots.empty());
}

TEST_F(DirectoryScan, WhatIsNotEnteredIsTold)
{
    class Observer final : public WalkObserver
    {
    public:
        void Entering(const CString&) override { ++entered; }
        void PassedOver(const CString& path, PathOutcome why) override { passedOver[path] = why; }
        int entered = 0;
        std::map<CString, PathOutcome> passedOver;
    } observer;
    folder.WriteBytes(L"h\\f.txt", "1");
    ASSERT_TRUE(SetFileAttributesW(folder.Path(L"h"), FILE_ATTRIBUTE_HIDDEN));
    EXPECT_TRUE(filter.ScanDirectory(folder.Path(), L"*", false, &record, true, &observer));
    EXPECT_EQ(observer.entered, 1);
    EXPECT_EQ(observer.passedOver, (std::map<CString, PathOutcome>{{folder.Path(L"h\\"), PathOutcome::Hidden}}));
}

TEST_F(DirectoryScan, TheCallersThreadKeepsItsOwnRights)
{
    HANDLE token = nullptr;
    ASSERT_FALSE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token));
    EXPECT_TRUE(WalkSelection());
    EXPECT_FALSE(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token));
}

} // namespace
