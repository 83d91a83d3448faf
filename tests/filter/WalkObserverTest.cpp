// The reports of a walk on the items that it leaves out, on a disk in memory.
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/filter/FilterAccess.h"
#include "orbwatcher4/filter/SelectionWalk.h"
#include "tests/filter/FakeDisk.h"
#include "tests/filter/ScanRecord.h"
#include "tests/support/TestMachine.h"

#include <gtest/gtest.h>

#include <set>

namespace
{

class Observer final : public WalkObserver
{
public:
    void Entering(const CString& folder) override { entered.push_back(folder); }
    void PassedOver(const CString& path, PathOutcome why) override
    {
        EXPECT_TRUE(passedOver.emplace(path, why).second) << Narrow(path.View()) << " was told twice";
    }

    void SelectedMissing(const CString& path) override { missing.insert(path); }
    void ListRead(const CString& folder, std::uint32_t error) override { read[folder] = error; }

    std::vector<CString> entered;
    std::set<CString> missing; // of what the rules name
    std::map<CString, std::uint32_t> read;
    std::map<CString, PathOutcome> passedOver;
};

class WalkObserving : public testing::Test
{
protected:
    WalkObserving()
    {
        options.observer = &observer;
        disk.AddFolder(L"C:\\a");
        lists.roots.push_back({L"C:\\a", true});
    }
    bool Walk() { return SelectionWalk(FilterAccess::MemoryOf(filter), disk, lists, &record, options).Run(); }
    void ExpectPassedOver(const std::map<CString, PathOutcome>& expected) { EXPECT_EQ(observer.passedOver, expected); }

    OrbFilter filter;
    FakeDisk disk;
    ScanLists lists;
    ScanRecord record;
    Observer observer;
    WalkOptions options;
};

TEST_F(WalkObserving, EachFolderIsToldWhenItIsEntered)
{
    disk.AddFolder(L"C:\\a\\b");
    EXPECT_TRUE(Walk());
    EXPECT_EQ(observer.entered, (std::vector<CString>{L"C:\\a\\", L"C:\\a\\b\\"}));
    ExpectPassedOver({});
}

TEST_F(WalkObserving, FoldersThatAreNotEnteredAreToldWithTheReason)
{
    disk.AddFolder(L"C:\\a\\hidden", FILE_ATTRIBUTE_HIDDEN);
    disk.AddFolder(L"C:\\a\\excluded");
    disk.AddJunction(L"C:\\a\\system", L"C:\\", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM);
    lists.exclusions.push_back(L"C:\\a\\excluded");
    EXPECT_TRUE(Walk());
    ExpectPassedOver({{L"C:\\a\\hidden\\", PathOutcome::Hidden},
                      {L"C:\\a\\excluded\\", PathOutcome::Excluded},
                      {L"C:\\a\\system\\", PathOutcome::SystemLink}});
}

TEST_F(WalkObserving, LinksThatAreNotFollowedAreToldWithTheReason)
{
    disk.AddFolder(L"C:\\target");
    disk.AddJunction(L"C:\\a\\1", L"C:\\target");
    disk.AddJunction(L"C:\\a\\2", L"C:\\target");
    disk.AddJunction(L"C:\\a\\broken", L"C:\\nowhere");
    disk.AddLink(L"C:\\a\\unreadable", {});
    disk.AddJunction(L"C:\\a\\circle", L"C:\\a\\circle");
    EXPECT_TRUE(Walk());
    ExpectPassedOver({{L"C:\\a\\2\\", PathOutcome::WalkedAlready},
                      {L"C:\\a\\broken\\", PathOutcome::BrokenLink},
                      {L"C:\\a\\unreadable\\", PathOutcome::Unreadable},
                      {L"C:\\a\\circle\\", PathOutcome::Unreadable}});
}

TEST_F(WalkObserving, FoldersThatCannotBeReadAreToldApartFromThoseThatAreGone)
{
    for (const wchar_t* name : {L"C:\\a\\denied", L"C:\\a\\gone", L"C:\\a\\torn"})
        disk.AddFolder(name);
    disk.listErrors[L"C:\\a\\denied\\"] = ERROR_ACCESS_DENIED;
    disk.listErrors[L"C:\\a\\gone\\"] = ERROR_PATH_NOT_FOUND;
    disk.lateErrors[L"C:\\a\\torn\\"] = ERROR_CRC;
    EXPECT_TRUE(Walk());
    EXPECT_EQ(observer.read, (std::map<CString, std::uint32_t>{{L"C:\\a\\", ERROR_SUCCESS},
                                                               {L"C:\\a\\denied\\", ERROR_ACCESS_DENIED},
                                                               {L"C:\\a\\torn\\", ERROR_CRC}}));
    ExpectPassedOver({{L"C:\\a\\denied\\", PathOutcome::Unreadable},
                      {L"C:\\a\\gone\\", PathOutcome::Missing},
                      {L"C:\\a\\torn\\", PathOutcome::Unreadable}});
    EXPECT_TRUE(observer.missing.empty()); // what vanishes during a walk is named by no rule
}

TEST_F(WalkObserving, SelectedPathsThatAreNotThereAreToldApartFromThoseThatCannotBeRead)
{
    disk.AddFile(L"C:\\file");
    disk.AddJunction(L"C:\\circle", L"C:\\circle");
    disk.attributeErrors[L"C:\\denied\\"] = ERROR_ACCESS_DENIED;
    for (const wchar_t* root : {L"C:\\missing", L"C:\\denied", L"C:\\file", L"C:\\circle"})
        lists.roots.push_back({root, true});
    lists.files = {L"C:\\gone.txt"};
    EXPECT_TRUE(Walk());
    ExpectPassedOver({{L"C:\\missing\\", PathOutcome::Missing},
                      {L"C:\\denied\\", PathOutcome::Unreadable},
                      {L"C:\\file\\", PathOutcome::Missing},
                      {L"C:\\circle\\", PathOutcome::Unreadable},
                      {L"C:\\gone.txt", PathOutcome::Missing}});
    EXPECT_EQ(observer.missing, (std::set<CString>{L"C:\\file\\", L"C:\\gone.txt", L"C:\\missing\\"}));
}

} // namespace
