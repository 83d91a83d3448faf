// Drives with volumes of their own: ejected, returned, exchanged, and mounted in a folder.
//
// Documentation of Windows: "diskpart" (virtual disks), "GetVolumeInformationW" (the serial number),
// "SetVolumeMountPoint" and "Mounted Folders", "FSCTL_DISMOUNT_VOLUME": a dismount ends pending reads of folders on the
// volume.
#include "tests/windows/VirtualDisk.h"
#include "tests/orbwatcher4/RunningWatch.h"

#include <optional>

namespace
{

class VirtualDisks : public RunningWatch
{
protected:
    std::string RuleOn(const std::wstring& drive, const std::wstring& more = L"")
    {
        return Item(L"path=\"" + drive + L"\\docs\" type=\"1\" includeSub=\"1\"" + more);
    }
    CString WriteOn(const std::wstring& drive, const wchar_t* name)
    {
        std::filesystem::create_directories(drive + L"\\docs");
        const std::filesystem::path path = drive + L"\\docs\\" + name;
        std::ofstream(path) << "x";
        return CString(path.c_str());
    }
    bool UntilWatched(bool wanted)
    {
        const ULONGLONG end = GetTickCount64() + 60000;
        while (GetTickCount64() < end && watcher.GetWatchedRoots().empty() == wanted)
            Sleep(50); // between two looks at what another thread does
        return watcher.GetWatchedRoots().empty() != wanted;
    }
    std::filesystem::path DiskFolder(const wchar_t* name)
    {
        const std::filesystem::path path = folder.Path(name).GetString();
        std::filesystem::create_directories(path);
        return path;
    }
};

class DiskWithLetter : public VirtualDisks
{
protected:
    void SetUp() override
    {
        VirtualDisks::SetUp();
        drive = FreeDrive();
        if (drive.empty())
            GTEST_SKIP() << "no letter from H: to V: is free";
        disk.emplace(DiskFolder(L"disk"), drive);
        if (!disk->WhyNot().empty())
            GTEST_SKIP() << disk->WhyNot();
    }

    std::wstring drive; // as in "H:"
    std::optional<VirtualDisk> disk;
};

TEST_F(DiskWithLetter, AnEjectedDiskKeepsItsPendingFilesAndIsWatchedAgainWhenItReturns)
{
    const CString before = WriteOn(drive, L"before.txt");
    watcher.SetDataXmlPath(WriteRules(L"data.xml", RuleOn(drive)));
    StartAndWait();
    watcher.AddSingleNotification(before);
    ASSERT_TRUE(disk->Eject());
    EXPECT_TRUE(UntilWatched(false));
    EXPECT_TRUE(Drain().empty());
    EXPECT_TRUE(Pending(before));
    ASSERT_TRUE(disk->Insert());
    EXPECT_TRUE(UntilWatched(true));
    EXPECT_TRUE(Receives(before));
    EXPECT_TRUE(Receives(WriteOn(drive, L"after.txt")));
    watcher.AbortWatching();
}

TEST_F(DiskWithLetter, AnotherDiskUnderTheLetterIsNotWatched)
{
    const unsigned serial = SerialOfDrive(static_cast<char>(drive[0] - L'A' + 'a'));
    ASSERT_NE(serial, 0u);
    ASSERT_TRUE(disk->Eject());
    VirtualDisk second(DiskFolder(L"second"), drive);
    ASSERT_EQ(second.WhyNot(), "");
    WriteOn(drive, L"of another.txt");
    Select(RuleOn(drive, L" vid=\"" + std::to_wstring(serial) + L"\""));
    watcher.StartWatch();
    EXPECT_FALSE(watcher.WaitUntilReady(20000) && !watcher.GetWatchedRoots().empty());
    watcher.AbortWatching();
    EXPECT_TRUE(Drain().empty());
}

TEST_F(VirtualDisks, AFolderOnWhichAVolumeIsMountedIsWalkedOnce)
{
    const CString mounted = MakeFolder(L"mounted");
    VirtualDisk disk(DiskFolder(L"disk"), mounted.GetString());
    if (!disk.WhyNot().empty())
        GTEST_SKIP() << disk.WhyNot();
    const CString file = WriteOn(std::wstring(mounted), L"inside.txt");
    SelectTree();
    watcher.UpdateThreadsPriority(CPUSpeedFull);
    EXPECT_EQ(watcher.StartFirstTimeRun(0), 1);
    Parts().enumerator.EndRuns();
    EXPECT_TRUE(Pending(file));
    EXPECT_EQ(watcher.GetEnumerationProgress().files, 1u);
}

} // namespace
