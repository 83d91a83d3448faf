// The paths that the product keeps out of every selection.
#include "orbwatcher4/filter/KeptOutPaths.h"

#include <gtest/gtest.h>

namespace
{

using Source = KeptOutPaths::Source;

KeptOutPaths Destination(const wchar_t* folder)
{
    KeptOutPaths paths;
    paths.SetFolder(Source::Destination, folder, KeptOut::Destination);
    return paths;
}

TEST(KeptOutPaths, AFolderCoversItselfAndEverythingInItInAnyLetterCase)
{
    const KeptOutPaths paths = Destination(L"D:\\Backup");
    for (const wchar_t* path : {L"D:\\Backup", L"D:\\Backup\\", L"d:\\BACKUP\\a\\b.txt", L"D:\\backup\\x"})
        EXPECT_EQ(paths.Why(path), KeptOut::Destination) << std::wstring(path).size();
}

TEST(KeptOutPaths, AFolderWhoseNameOnlyBeginsAlikeIsNotCovered)
{
    const KeptOutPaths paths = Destination(L"D:\\Backup\\");
    for (const wchar_t* path : {L"D:\\Backups\\x", L"D:\\Backup.txt", L"D:\\", L"D:\\Backu", L"E:\\Backup\\x", L""})
        EXPECT_EQ(paths.Why(path), KeptOut::No) << std::wstring(path).size();
}

TEST(KeptOutPaths, AFileCoversItsOwnPathAlone)
{
    KeptOutPaths paths;
    paths.SetFiles(Source::Outputs, {L"D:\\out.txt"}, KeptOut::OwnFile);
    EXPECT_EQ(paths.Why(L"d:\\OUT.txt"), KeptOut::OwnFile);
    EXPECT_EQ(paths.Why(L"D:\\out.txt.bak"), KeptOut::No);
    EXPECT_EQ(paths.Why(L"D:\\out.tx"), KeptOut::No);
}

TEST(KeptOutPaths, SettingAgainReplacesThePathsOfThatSettingAlone)
{
    KeptOutPaths paths = Destination(L"D:\\first");
    paths.SetFolder(Source::DataFolder, L"D:\\data", KeptOut::OwnFile);
    paths.SetFolder(Source::Destination, L"D:\\second", KeptOut::Destination);
    EXPECT_EQ(paths.Why(L"D:\\first\\x"), KeptOut::No);
    EXPECT_EQ(paths.Why(L"D:\\second\\x"), KeptOut::Destination);
    EXPECT_EQ(paths.Why(L"D:\\data\\x"), KeptOut::OwnFile);
    paths.SetFolder(Source::Destination, L"", KeptOut::Destination);
    EXPECT_EQ(paths.Why(L"D:\\second\\x"), KeptOut::No);
    EXPECT_EQ(paths.Folders(), (std::vector<CString>{L"D:\\data\\"}));
}

TEST(KeptOutPaths, ADatabaseHasTheFilesThatAreKeptBesideIt)
{
    KeptOutPaths paths;
    paths.SetFiles(Source::Databases, KeptOutPaths::FilesOfDatabase(L"D:\\index.db"), KeptOut::OwnFile);
    for (const wchar_t* path :
         {L"D:\\index.db", L"D:\\index.db-wal", L"D:\\INDEX.db-shm", L"D:\\index.db-journal", L"D:\\index.db-claim"})
        EXPECT_EQ(paths.Why(path), KeptOut::OwnFile) << std::wstring(path).size();
    EXPECT_EQ(paths.Why(L"D:\\index.db.bak"), KeptOut::No);
    EXPECT_TRUE(KeptOutPaths::FilesOfDatabase(L"").empty());
}

} // namespace
