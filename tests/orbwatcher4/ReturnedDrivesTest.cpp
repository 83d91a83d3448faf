// Drives that went, by themselves or because the service said so, and come again.
#include "tests/orbwatcher4/LoopFixture.h"

namespace
{

constexpr const wchar_t* SerialOfG = L"1330791015"; // as Wine found it at its own start

class ReturnedDrives : public LoopFixture
{
protected:
    ~ReturnedDrives() override
    {
        End();
        if (m_isAway)
            AttachG();
    }

    void AttachG()
    {
        m_isAway = false;
        EXPECT_TRUE(AttachDrive('g', m_volume.c_str()));
    }
    void DetachG()
    {
        m_isAway = true;
        EXPECT_TRUE(DetachDrive('g'));
    }
    bool WatchesG() { return watcher.GetWatchedRoots() == std::vector<CString>{L"g:\\"}; }
    std::string RuleOnG()
    {
        return Item(L"path=\"G:\\docs\" type=\"1\" includeSub=\"1\" vid=\"" + std::wstring(SerialOfG) + L"\"");
    }

private:
    const std::wstring m_volume = PrefixFolder(L"drives/g");
    bool m_isAway = false;
};

TEST_F(ReturnedDrives, OneThatTheServiceRemovedIsWatchedAgainWhenItComesBack)
{
    Select(RuleOnG());
    Start();
    ASSERT_TRUE(WatchesG());
    watcher.UpdateDrive(L"G:\\", WatcherEnum::DriveRemoved);
    PassAfter(1);
    PassAfter(1);
    EXPECT_FALSE(WatchesG()); // it has not gone yet
    DetachG();
    PassAfter(1);
    AttachG();
    PassAfter(1);
    EXPECT_TRUE(WatchesG());
    PassAfter(1);
    EXPECT_TRUE(WatchesG());
    EXPECT_EQ(rescans, std::vector<std::string>{"driveReturned"});
}

TEST_F(ReturnedDrives, OneThatComesBackIsWatchedBeforeItIsEnumerated)
{
    Select(RuleOnG());
    DetachG();
    WatchLoop& loop = Start();
    std::vector<bool> watched;
    watcher.SetRescanListener(
        [&](const CString& root, const char*) { watched.push_back(WatcherAccess::IsWatching(loop, root)); });
    AttachG();
    PassAfter(1);
    EXPECT_EQ(watched, std::vector<bool>{true});
}

TEST_F(ReturnedDrives, OneThatComesBackBeforeAnybodySawItGoIsWatchedAgain)
{
    Select(RuleOnG());
    Start();
    watcher.UpdateDrive(L"G:\\", WatcherEnum::DriveRemoved);
    PassAfter(1);
    EXPECT_FALSE(WatchesG());
    watcher.UpdateDrive(L"G:\\", WatcherEnum::DriveReappeared);
    PassAfter(1);
    EXPECT_TRUE(WatchesG());
    EXPECT_EQ(rescans, std::vector<std::string>{"watchedAgain"});
}

TEST_F(ReturnedDrives, OneThatComesUnderAnotherLetterIsWatchedThere)
{
    Select(Item(L"path=\"q:\\docs\" type=\"1\" includeSub=\"1\""));
    Start();
    {
        const CSingleLock lock(Parts().drives.lock);
        Parts().drives.list = {
            {L"q:\\", {1330791015, Drive::State::BeingRemoved}}}; // removed by the service a moment ago
    }
    watcher.UpdateDrive(L"G:\\", WatcherEnum::DriveReappeared);
    PassAfter(1);
    PassAfter(1);
    EXPECT_TRUE(WatchesG());
    EXPECT_EQ(rescans.size(), 1u);
}

TEST_F(ReturnedDrives, OneThatAReloadNamesWhileItIsAwayIsWatchedWhenItComes)
{
    DetachG();
    Select(Item(L"path=\"Y:\\nowhere\" type=\"1\" vid=\"5\""));
    Start();
    Parts().selection.requestedRoots.SetWatching(true);
    Select(RuleOnG());
    PassAfter(1);
    Parts().selection.requestedRoots.SetWatching(false);
    AttachG();
    PassAfter(1);
    EXPECT_TRUE(WatchesG());
}

TEST_F(ReturnedDrives, WhatANewRuleSelectsOnADriveThatIsAwayIsLookedAtByTheNextRun)
{
    Select(Item(L"path=\"Y:\\nowhere\" type=\"1\" vid=\"5\""));
    Start();
    DetachG();
    const CString rules = WriteRules(L"new.xml", RuleOnG());
    ASSERT_EQ(watcher.AddNewQueueItem(rules, false, nullptr, 0), RulesQueued);
    PassAfter(1);
    End();
    watcher.DeInit();
    wchar_t roots[64] = L"";
    GetServiceRunSettings().Load();
    EXPECT_TRUE(GetServiceRunSettings().GetValue(RescansDueKey, roots, std::size(roots)));
    EXPECT_STREQ(roots, L"g:\\");
}

TEST_F(ReturnedDrives, ARuleOnADriveWithAnotherVolumeDoesNotWatchIt)
{
    Select(Item(L"path=\"Y:\\nowhere\" type=\"1\" vid=\"5\""));
    Start();
    const CString rules = WriteRules(L"new.xml", Item(L"path=\"G:\\docs\" type=\"1\" vid=\"12345\""));
    ASSERT_EQ(watcher.AddNewQueueItem(rules, false, nullptr, 0), RulesQueued);
    PassAfter(1);
    EXPECT_FALSE(WatchesG());
}

TEST_F(ReturnedDrives, ADriveWithAnotherVolumeThatAReloadNamesIsFollowed)
{
    Select(Item(L"path=\"Y:\\nowhere\" type=\"1\" vid=\"5\""));
    Start();
    Parts().selection.requestedRoots.SetWatching(true);
    Select(Item(L"path=\"G:\\docs\" type=\"1\" vid=\"12345\""));
    PassAfter(1);
    Parts().selection.requestedRoots.SetWatching(false);
    EXPECT_FALSE(WatchesG());
    {
        const CSingleLock lock(Parts().drives.lock);
        ASSERT_TRUE(Parts().drives.list.contains(L"g:\\"));
        Parts().drives.list[L"g:\\"].serial = 1330791015; // the right one has come
    }
    PassAfter(1);
    EXPECT_TRUE(WatchesG());
}

TEST_F(ReturnedDrives, ChangesThatWereLostAreNotLookedForOnAnotherVolumeButWhenTheRightOneReturns)
{
    Select(RuleOnG());
    WatchLoop& loop = Start();
    const auto setSerial = [&](std::int32_t serial) {
        const CSingleLock lock(Parts().drives.lock);
        Parts().drives.list[L"g:\\"].serial = serial;
    };
    setSerial(0x7777);
    WatcherAccess::EndWatch(loop, L"g:\\");
    Handler().OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, L"g:\\");
    PassAfter(1);
    PassAfter(6);
    EXPECT_TRUE(rescans.empty());
    setSerial(1330791015);
    PassAfter(1);
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    PassAfter(6);
    EXPECT_EQ(rescans, std::vector<std::string>{"driveReturned"});
}

} // namespace
