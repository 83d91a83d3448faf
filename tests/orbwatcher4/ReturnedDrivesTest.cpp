// Drives that went, by themselves or because the service said so, and come again.
#include "companions/settings/OrbSettings.h"
#include "tests/orbwatcher4/WatcherFixture.h"

#include <optional>

namespace
{

constexpr const wchar_t* SerialOfG = L"1330791015"; // as Wine found it at its own start

class ReturnedDrives : public WatcherFixture
{
protected:
    ReturnedDrives()
    {
        // No first-time check.
        GetServiceRunSettings().Load();
        GetServiceRunSettings().SetValue(L"Backup::FirstTimeRunTime", static_cast<std::int32_t>(clock.Seconds()));
        GetServiceRunSettings().Save();
        watcher.SetRescanListener([this](const CString&, const char* reason) { rescans.push_back(reason); });
    }
    ~ReturnedDrives() override
    {
        if (m_loop)
            m_loop->End();
        if (m_isAway)
            AttachG();
    }

    WatchLoop& Start()
    {
        m_loop.emplace(watcher, State());
        m_loop->Start();
        return *m_loop;
    }
    void PassAfter(std::int64_t seconds)
    {
        clock.Advance(seconds);
        EXPECT_TRUE(m_loop->Pass());
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

    std::vector<std::string> rescans;

private:
    const std::wstring m_volume = PrefixFolder(L"drives/g");
    std::optional<WatchLoop> m_loop;
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
        const CSingleLock lock(State().driveListLock);
        State().drives = {{L"q:\\", {1330791015, true, 1}}}; // removed by the service a moment ago
    }
    watcher.UpdateDrive(L"G:\\", WatcherEnum::DriveReappeared);
    PassAfter(1);
    PassAfter(1);
    EXPECT_TRUE(WatchesG());
    EXPECT_EQ(rescans.size(), 1u);
}

} // namespace
