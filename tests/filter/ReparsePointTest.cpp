// Following links to folders.
#include "orbwatcher4/filter/ReparsePoint.h"
#include "tests/filter/FakeDisk.h"
#include "tests/orbwatcher4/LogCapture.h"

#include <gtest/gtest.h>

namespace
{

constexpr DWORD Link = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
const CString Start = L"C:\\a\\link\\";

CString Numbered(int number)
{
    CString path;
    path.Format(L"C:\\link%d", number);
    return path;
}

// Links one after the other, the last of which leads to a folder.
void AddChain(FakeDisk& disk, int links)
{
    for (int i = 1; i < links; ++i)
        disk.AddJunction(Numbered(i), Numbered(i + 1));
    disk.AddJunction(Numbered(links), L"C:\\end");
    disk.AddFolder(L"C:\\end");
}

class ReparsePoint : public testing::Test
{
protected:
    ReparseResult Ask(const CString& path = Start) { return GetReparseDestination(disk, path, Link, destination); }

    FakeDisk disk;
    LogCapture log;
    CString destination = L"untouched";
};

TEST_F(ReparsePoint, AFolderWithoutTheReparseBitIsNotReadAtAll)
{
    disk.AddFolder(L"C:\\plain");
    EXPECT_EQ(GetReparseDestination(disk, L"C:\\plain", 0, destination), ReparseResult::NoLink);
    EXPECT_EQ(GetReparseDestination(disk, L"C:\\gone", 0, destination), ReparseResult::NoLink);
    EXPECT_EQ(disk.reads, 0);
    EXPECT_STREQ(destination, L"untouched");
}

TEST_F(ReparsePoint, AttributesAreAskedWhenTheyAreNotGiven)
{
    disk.AddJunction(Start, L"D:\\target");
    EXPECT_EQ(GetReparseDestination(disk, Start, 0, destination), ReparseResult::Leads);
    EXPECT_STREQ(destination, L"D:\\target");
}

TEST_F(ReparsePoint, ARelativeLinkIsResolvedAgainstItsParent)
{
    disk.AddLink(Start, SymbolicLink(L"..\\target", true));
    EXPECT_EQ(Ask(), ReparseResult::Leads);
    EXPECT_STREQ(destination, L"C:\\target");
}

TEST_F(ReparsePoint, ALinkToAShareHasThePlainNameOfTheShare)
{
    disk.AddLink(Start, SymbolicLink(L"\\??\\UNC\\srv\\share\\x", false));
    EXPECT_EQ(Ask(), ReparseResult::Leads);
    EXPECT_STREQ(destination, L"\\\\srv\\share\\x");
}

TEST_F(ReparsePoint, AChainOfSixtyThreeLinksIsFollowedAndNoneOfSixtyFour)
{
    AddChain(disk, 63);
    EXPECT_EQ(Ask(Numbered(1)), ReparseResult::Leads);
    EXPECT_STREQ(destination, L"C:\\end");
    FakeDisk longer;
    AddChain(longer, 64);
    EXPECT_EQ(GetReparseDestination(longer, Numbered(1), Link, destination), ReparseResult::Unusable);
    EXPECT_TRUE(log.Has(L"Skipping unusable junction point C:\\link1"));
}

TEST_F(ReparsePoint, ACircleEndsUnusable)
{
    disk.AddJunction(Start, L"C:\\other");
    disk.AddJunction(L"C:\\other", Start);
    EXPECT_EQ(Ask(), ReparseResult::Unusable);
    disk.AddJunction(L"C:\\self", L"C:\\self");
    EXPECT_EQ(Ask(L"C:\\self"), ReparseResult::Unusable);
    EXPECT_EQ(log.Count(L"Skipping unusable junction point C:\\self"), 1);
}

TEST_F(ReparsePoint, AChainThatEndsInAFolderWithAnotherTagLeadsThere)
{
    disk.AddJunction(Start, L"C:\\cloud");
    disk.AddLink(L"C:\\cloud", WithHeader(0x9000001A, {}));
    EXPECT_EQ(Ask(), ReparseResult::Leads);
    EXPECT_STREQ(destination, L"C:\\cloud");
}

TEST_F(ReparsePoint, ATagThatLeadsNowhereIsNoLink)
{
    disk.AddLink(Start, WithHeader(0x9000001A, {}));
    EXPECT_EQ(Ask(), ReparseResult::NoLink);
}

TEST_F(ReparsePoint, DamagedDataIsUnusable)
{
    Bytes cut = MountPoint(L"\\??\\D:\\x");
    cut.pop_back();
    disk.AddLink(Start, cut);
    EXPECT_EQ(Ask(), ReparseResult::Unusable);
    EXPECT_TRUE(log.Has(L"Skipping unusable junction point C:\\a\\link\\"));
}

TEST_F(ReparsePoint, ALinkThatCannotBeReadIsUnusableAndTheErrorIsLogged)
{
    disk.readError = ERROR_ACCESS_DENIED;
    disk.real[Start] = L"D:\\target"; // not asked: the file system has reparse data
    EXPECT_EQ(Ask(), ReparseResult::Unusable);
    EXPECT_TRUE(log.Has(L"Error getting reparse destination: 5"));
}

TEST_F(ReparsePoint, WhereThereIsNoReparseDataTheSystemIsAskedWhereItEndsUp)
{
    disk.readError = ERROR_NOT_A_REPARSE_POINT;
    EXPECT_EQ(Ask(), ReparseResult::Unusable); // a target that is gone
    EXPECT_TRUE(log.Has(L"Error getting reparse destination: 4390"));
    disk.real[Start] = L"D:\\target";
    EXPECT_EQ(Ask(), ReparseResult::Leads);
    EXPECT_STREQ(destination, L"D:\\target");
    disk.real[Start] = L"c:\\A\\link"; // no link any more
    EXPECT_EQ(Ask(), ReparseResult::NoLink);
}

TEST_F(ReparsePoint, ATargetBelowOtherLinksIsNamedWithoutThem)
{
    disk.AddJunction(Start, L"C:\\other\\sub");
    disk.real[L"C:\\other\\sub\\"] = L"C:\\real\\sub";
    EXPECT_EQ(Ask(), ReparseResult::Leads);
    EXPECT_STREQ(destination, L"C:\\real\\sub");
    disk.real[L"C:\\other\\sub\\"] = L"E:\\sub"; // the rules know it by the drive that the link names
    EXPECT_EQ(Ask(), ReparseResult::Leads);
    EXPECT_STREQ(destination, L"C:\\other\\sub");
}

TEST_F(ReparsePoint, AMountedVolumeIsKnownByItsShortestPathElseByTheFolderItself)
{
    disk.AddJunction(Start, L"Volume{1}\\");
    EXPECT_EQ(Ask(), ReparseResult::NoLink);
    disk.mounted[L"\\\\?\\Volume{1}\\"] = L"c:\\a\\LINK\\";
    EXPECT_EQ(Ask(), ReparseResult::NoLink);
    disk.mounted[L"\\\\?\\Volume{1}\\"] = L"D:\\";
    EXPECT_EQ(Ask(), ReparseResult::Leads);
    EXPECT_STREQ(destination, L"D:\\");
}

} // namespace
