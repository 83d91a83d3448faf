// A full enumeration goes by the drives as they are now, not as they were when the rules were loaded.
#include "tests/orbwatcher4/LoopFixture.h"
#include "tests/support/ImportedCall.h"

namespace
{

const std::wstring SerialOfG = std::to_wstring(SerialOfDrive('g'));

// Another volume under G: as long as it lives. Its root and every open file show its number.
class OtherVolumeUnderG
{
    static constexpr DWORD Serial = 0x7777;

    static BOOL WINAPI Answer(const wchar_t* root, wchar_t* name, DWORD size, DWORD* serial, DWORD* longest,
                              DWORD* flags, wchar_t* system, DWORD systemSize)
    {
        const BOOL done = s_original(root, name, size, serial, longest, flags, system, systemSize);
        if (done && serial && towlower(root[0]) == L'g')
            *serial = Serial;
        return done;
    }
    static BOOL WINAPI AnswerOfFile(HANDLE file, BY_HANDLE_FILE_INFORMATION* information)
    {
        const BOOL done = s_originalOfFile(file, information);
        if (done)
            information->dwVolumeSerialNumber = Serial;
        return done;
    }

    static inline const auto s_original = SystemFunction<decltype(GetVolumeInformationW)>("GetVolumeInformationW");
    static inline const auto s_originalOfFile =
        SystemFunction<decltype(GetFileInformationByHandle)>("GetFileInformationByHandle");
    const ImportedCall m_call{nullptr, "GetVolumeInformationW", &Answer};
    const ImportedCall m_callOfFile{nullptr, "GetFileInformationByHandle", &AnswerOfFile};
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
        Select(Item(L"path=\"G:\\drives-now\" type=\"1\" includeSub=\"1\" vid=\"" + SerialOfG + L"\""));
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
    const std::wstring m_volume = FolderOfDrive('g');
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
    if (const std::string why = WhyNoSerial('g'); !why.empty())
        GTEST_SKIP() << why;
    SelectOnG();
    const OtherVolumeUnderG other;
    Enumerate();
    EXPECT_FALSE(FileIsPending());
    EXPECT_TRUE(SaidThatGWasSkipped());
}

TEST_F(DrivesNow, APendingFileIsNotHandedOutFromAnotherVolume)
{
    if (const std::string why = WhyNoSerial('g'); !why.empty())
        GTEST_SKIP() << why;
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
    if (const std::string why = WhyNoSerial('g'); !why.empty())
        GTEST_SKIP() << why;
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
        const CSingleLock lock(WatcherAccess::DriveLock(watcher));
        WatcherAccess::DriveListOf(watcher)[L"g:\\"].state = Drive::State::BeingRemoved;
    }
    Enumerate();
    EXPECT_FALSE(FileIsPending());
    EXPECT_TRUE(SaidThatGWasSkipped());
}

TEST_F(DrivesNow, ADriveThatWasLeftOutIsEnumeratedOnceItsVolumeIsBack)
{
    if (const std::string why = WhyNoSerial('g'); !why.empty())
        GTEST_SKIP() << why;
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

TEST_F(DrivesNow, ADeletionInTheDumpOfADriveThatComesBeforeTheStartIsRecorded)
{
    SelectOnG();
    const CString gone = L"G:\\drives-now\\gone.txt";
    Index();
    watcher.SetIndexDB(folder.Path(L"index.db"));
    RecordWithTime(gone, 1);
    const std::wstring line = std::wstring(gone) + L"\n";
    folder.WriteBytes(L"data\\watcher_dump.bin",
                      std::string(reinterpret_cast<const char*>(line.data()), line.size() * sizeof(wchar_t)));
    DetachG(); // not there yet
    watcher.Resume();
    EXPECT_TRUE(Pending(gone));
    AttachG();
    Start();
    PassAfter(1);
    PassAfter(10);
    WatcherAccess::Parts(watcher).enumerator.EndRuns();
    for (const std::wstring& given : Drain())
        EXPECT_NE(given, std::wstring(gone));
    watcher.ImmediateProcessDeletedFiles();
    CachedDatum datum;
    ASSERT_TRUE(CIndexDB::GetCachedData(gone, datum));
    EXPECT_TRUE(datum.flags & CachedDatum::NoDeleteRecord) << "no delete record";
    GetServiceRunSettings().Load();
    EXPECT_NE(GetServiceRunSettings().GetValue(L"Backup::FirstTimeRunTime", -1), 0) << "a full enumeration is due";
}

} // namespace
