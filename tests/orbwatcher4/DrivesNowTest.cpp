// A full enumeration goes by the drives as they are now, not as they were when the rules were loaded.
#include "tests/orbwatcher4/LoopFixture.h"
#include "tests/support/ImportedCall.h"

namespace
{

constexpr const wchar_t* SerialOfG = L"1330791015"; // 0x4F524267, as Wine found it at its own start

// Another volume under G: as long as it lives.
class OtherVolumeUnderG
{
    static BOOL WINAPI Answer(const wchar_t* root, wchar_t* name, DWORD size, DWORD* serial, DWORD* longest,
                              DWORD* flags, wchar_t* system, DWORD systemSize)
    {
        const BOOL done = s_original(root, name, size, serial, longest, flags, system, systemSize);
        if (done && serial && towlower(root[0]) == L'g')
            *serial = 0x7777;
        return done;
    }

    static inline const auto s_original = SystemFunction<decltype(GetVolumeInformationW)>("GetVolumeInformationW");
    const ImportedCall m_call{nullptr, "GetVolumeInformationW", &Answer};
};

class DrivesNow : public LoopFixture
{
protected:
    DrivesNow()
    {
        watcher.UpdateThreadsPriority(CPUSpeedFull);
        std::filesystem::create_directories(m_folder);
        std::ofstream(std::filesystem::path(m_folder + L"\\a.txt")) << "x";
    }
    ~DrivesNow() override
    {
        End();
        WatcherAccess::Parts(watcher).enumerator.EndRuns(); // a walk uses the folder
        if (m_isAway)
            AttachG();
        std::filesystem::remove_all(m_folder);
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
    void SelectOnG()
    {
        Select(Item(L"path=\"G:\\drives-now\" type=\"1\" includeSub=\"1\" vid=\"" + std::wstring(SerialOfG) + L"\""));
    }
    void Enumerate()
    {
        ASSERT_EQ(watcher.StartFirstTimeRun(0), 1);
        WatcherAccess::Parts(watcher).enumerator.EndRuns();
    }
    bool FileIsPending() { return Pending(L"G:\\drives-now\\a.txt") != nullptr; }
    testing::AssertionResult SaidThatGWasSkipped()
    {
        return log.Has(L"Initial scan started, but VolumeID doesn't match drive g:\\. Scan for this drive skipped.");
    }

private:
    const std::wstring m_volume = PrefixFolder(L"drives/g");
    const std::wstring m_folder = m_volume + L"\\drives-now";
    bool m_isAway = false;
};

TEST_F(DrivesNow, AVolumeThatCameAfterTheRulesWereLoadedIsWalked)
{
    {
        const OtherVolumeUnderG other;
        SelectOnG();
    }
    Enumerate();
    EXPECT_TRUE(FileIsPending());
}

TEST_F(DrivesNow, AnotherVolumeThatCameAfterTheRulesWereLoadedIsNotWalked)
{
    SelectOnG();
    const OtherVolumeUnderG other;
    Enumerate();
    EXPECT_FALSE(FileIsPending());
    EXPECT_TRUE(SaidThatGWasSkipped());
}

TEST_F(DrivesNow, APendingFileIsNotHandedOutFromAnotherVolume)
{
    SelectOnG();
    Enumerate();
    ASSERT_TRUE(FileIsPending());
    {
        const OtherVolumeUnderG other;
        EXPECT_TRUE(Drain().empty());
        EXPECT_TRUE(FileIsPending());
    }
    EXPECT_FALSE(Drain().empty());
}

TEST_F(DrivesNow, AFileThatTheServiceAddsIsPendingWhileItsDriveIsAway)
{
    SelectOnG();
    DetachG();
    watcher.AddSingleNotification(L"G:\\drives-now\\a.txt");
    EXPECT_TRUE(Drain().empty());
    AttachG();
    EXPECT_FALSE(Drain().empty());
}

TEST_F(DrivesNow, AFileThatTheServiceAddsIsNotJudgedByTheFileOfAnotherVolume)
{
    SelectOnG();
    Record(L"G:\\drives-now\\a.txt"); // the other volume's file is unchanged
    const OtherVolumeUnderG other;
    watcher.AddSingleNotification(L"G:\\drives-now\\a.txt");
    EXPECT_TRUE(FileIsPending());
}

TEST_F(DrivesNow, ADriveThatIsBeingRemovedIsNotWalked)
{
    SelectOnG();
    Start();
    {
        const CSingleLock lock(Parts().drives.lock);
        Parts().drives.list[L"g:\\"].state = Drive::State::BeingRemoved;
    }
    Enumerate();
    EXPECT_FALSE(FileIsPending());
    EXPECT_TRUE(SaidThatGWasSkipped());
}

TEST_F(DrivesNow, ADriveThatWasLeftOutIsEnumeratedOnceItsVolumeIsBack)
{
    SelectOnG();
    Start();
    {
        const OtherVolumeUnderG other;
        Enumerate();
        PassAfter(1);
        EXPECT_TRUE(rescans.empty());
    }
    PassAfter(6);
    EXPECT_EQ(rescans, std::vector<std::string>{"driveReturned"});
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    EXPECT_TRUE(FileIsPending());
}

TEST_F(DrivesNow, ADriveThatWasAwayUntilTheEndIsEnumeratedByTheNextRun)
{
    SelectOnG();
    Start();
    DetachG();
    PassAfter(1);
    Enumerate();
    watcher.NoteFirstTimeRunCompleted();
    End();
    EXPECT_NE(GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1), 0) << "one drive is due, not all";
    AttachG();
    rescans.clear();
    Start();
    PassAfter(6);
    EXPECT_EQ(rescans, std::vector<std::string>{"driveReturned"});
    End();
    Start();
    PassAfter(6);
    EXPECT_EQ(rescans.size(), 1u) << "once";
}

} // namespace
