// Drives that went, by themselves or because the service said so, and come again.
#include "tests/orbwatcher4/LoopFixture.h"
#include "tests/support/ImportedCall.h"

#include <functional>
#include <thread>

namespace
{

const std::wstring SerialOfG = std::to_wstring(SerialOfDrive('g'));

// Calls something, on another thread, the first time that the attributes of the root are asked for.
class CallWhenAsked
{
    static DWORD WINAPI Answer(const wchar_t* path)
    {
        if (s_call && CString(path).MakeLower() == s_root)
            std::thread(std::exchange(s_call, nullptr)).join();
        return s_original(path);
    }

public:
    CallWhenAsked(const wchar_t* root, std::function<void()> call)
    {
        s_root = root;
        s_call = std::move(call);
    }
    ~CallWhenAsked() { s_call = nullptr; }

private:
    static inline CString s_root;
    static inline std::function<void()> s_call;
    static inline const auto s_original = SystemFunction<decltype(GetFileAttributesW)>("GetFileAttributesW");
    const ImportedCall m_call{nullptr, "GetFileAttributesW", &Answer};
};

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
    // Does this while the service, on another thread, reports that G: is to be removed.
    void WhileGIsRemoved(const std::function<void()>& action)
    {
        const CallWhenAsked remove(L"g:\\", [this] { watcher.UpdateDrive(L"G:\\", WatcherEnum::DriveRemoved); });
        action();
    }
    // Makes G: a drive whose rules expect this volume.
    void ExpectOnG(std::int32_t serial)
    {
        const CSingleLock lock(WatcherAccess::DriveLock(watcher));
        ASSERT_TRUE(WatcherAccess::DriveListOf(watcher).contains(L"g:\\"));
        WatcherAccess::DriveListOf(watcher)[L"g:\\"].serial = serial;
    }
    bool WatchesG() { return watcher.GetWatchedRoots() == std::vector<CString>{L"g:\\"}; }
    std::string RuleOnG() { return Item(L"path=\"G:\\docs\" type=\"1\" includeSub=\"1\" vid=\"" + SerialOfG + L"\""); }

private:
    const std::wstring m_volume = FolderOfDrive('g');
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
    if (const std::string why = WhyNoSerial('g'); !why.empty())
        GTEST_SKIP() << why;
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
    if (const std::string why = WhyNoSerial('g'); !why.empty())
        GTEST_SKIP() << why;
    Select(Item(L"path=\"q:\\docs\" type=\"1\" includeSub=\"1\""));
    Start();
    {
        const CSingleLock lock(WatcherAccess::DriveLock(watcher));
        WatcherAccess::DriveListOf(watcher) = {{L"q:\\",
                                                {static_cast<std::int32_t>(SerialOfDrive('g')),
                                                 Drive::State::BeingRemoved}}}; // removed by the service a moment ago
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
    ExpectOnG(static_cast<std::int32_t>(SerialOfDrive('g'))); // the right one has come
    PassAfter(1);
    EXPECT_TRUE(WatchesG());
}

TEST_F(ReturnedDrives, ChangesThatWereLostAreNotLookedForOnAnotherVolumeButWhenTheRightOneReturns)
{
    Select(RuleOnG());
    WatchLoop& loop = Start();
    ExpectOnG(0x7777);
    WatcherAccess::EndWatch(loop, L"g:\\");
    Handler().OnReadChangesError(ERROR_NOTIFY_ENUM_DIR, L"g:\\");
    PassAfter(1);
    PassAfter(6);
    EXPECT_TRUE(rescans.empty());
    ExpectOnG(static_cast<std::int32_t>(SerialOfDrive('g')));
    PassAfter(1);
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    PassAfter(6);
    EXPECT_EQ(rescans, std::vector<std::string>{"driveReturned"});
}

TEST_F(ReturnedDrives, OneThatTheServiceRemovesWhileTheDrivesAreReadIsNotWatched)
{
    Select(RuleOnG());
    WhileGIsRemoved([this] { Start(); });
    PassAfter(1);
    EXPECT_FALSE(WatchesG());
}

TEST_F(ReturnedDrives, OneThatTheServiceRemovesWhileTheDrivesAreReadAtASecondStartIsNotWatched)
{
    Select(RuleOnG());
    Start();
    End();
    WhileGIsRemoved([this] { Start(); });
    PassAfter(1);
    EXPECT_FALSE(WatchesG());
}

TEST_F(ReturnedDrives, OneThatComesUnderAnotherLetterWhileTheDrivesAreReadIsWatchedThere)
{
    if (const std::string why = WhyNoSerial('g'); !why.empty())
        GTEST_SKIP() << why;
    DetachG();
    Select(Item(L"path=\"q:\\docs\" type=\"1\" includeSub=\"1\" vid=\"" + SerialOfG + L"\""));
    AttachG();
    {
        const CallWhenAsked move(L"q:\\", [&] { watcher.UpdateDrive(L"G:\\", WatcherEnum::DriveReappeared); });
        Start();
    }
    PassAfter(1);
    PassAfter(1);
    EXPECT_TRUE(WatchesG());
}

TEST_F(ReturnedDrives, ANewOneThatTheServiceRemovesWhileTheDrivesAreReadIsNotWatched)
{
    Select(Item(L"path=\"Y:\\nowhere\" type=\"1\" vid=\"5\""));
    Start();
    Parts().selection.requestedRoots.SetWatching(true);
    Select(RuleOnG());
    WhileGIsRemoved([this] { PassAfter(1); });
    PassAfter(1);
    Parts().selection.requestedRoots.SetWatching(false);
    EXPECT_FALSE(WatchesG());
}

// No volume has a serial number as long as it lives.
class NoSerials
{
    static BOOL WINAPI Answer(const wchar_t* root, wchar_t* name, DWORD size, DWORD* serial, DWORD* longest,
                              DWORD* flags, wchar_t* system, DWORD systemSize)
    {
        const BOOL done = s_original(root, name, size, serial, longest, flags, system, systemSize);
        if (done && serial)
            *serial = 0;
        return done;
    }

    static inline const auto s_original = SystemFunction<decltype(GetVolumeInformationW)>("GetVolumeInformationW");
    const ImportedCall m_call{nullptr, "GetVolumeInformationW", &Answer};
};

TEST_F(ReturnedDrives, OneWithoutASerialNumberThatStaysAfterAllIsWatchedAgain)
{
    const NoSerials none;
    Select(Item(L"path=\"G:\\docs\" type=\"1\" includeSub=\"1\""));
    Start();
    ASSERT_TRUE(WatchesG());
    watcher.UpdateDrive(L"G:\\", WatcherEnum::DriveRemoved);
    PassAfter(1);
    EXPECT_FALSE(WatchesG());
    watcher.UpdateDrive(L"G:\\", WatcherEnum::DriveReappeared);
    PassAfter(1);
    PassAfter(60);
    EXPECT_TRUE(WatchesG());
}

TEST_F(ReturnedDrives, OneThatComesUnderAnotherLetterAfterTheDrivesWereReadIsWatchedThere)
{
    DetachG();
    Select(Item(L"path=\"q:\\docs\" type=\"1\" includeSub=\"1\" vid=\"" + SerialOfG + L"\""));
    Start();
    AttachG();
    watcher.UpdateDrive(L"G:\\", WatcherEnum::DriveReappeared);
    PassAfter(1);
    PassAfter(1);
    EXPECT_TRUE(WatchesG());
}

} // namespace
