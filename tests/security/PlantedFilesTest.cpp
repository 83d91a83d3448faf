// Files and links that a user left in the data folder before the service came.
#include "companions/settings/DataFolder.h"
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/core/pending/DumpFile.h"
#include "tests/orbwatcher4/WatcherFixture.h"
#include "tests/security/AccessList.h"
#include "tests/security/AnotherAccount.h"

#include <vector>

namespace
{

class PlantedFiles : public WatcherFixture
{
protected:
    PlantedFiles()
    {
        folder.WriteBytes(L"victim", "of another program");
        GetUserConfigurations().Load();
    }
    CString InData(const std::wstring& name) const { return folder.Path((L"data\\" + name).c_str()); }
    void PlantLink(const std::wstring& name) const
    {
        ASSERT_TRUE(MakeLink(InData(name).GetString(), victim.GetString()));
    }
    void PlantHardLink(const std::wstring& name) const { ASSERT_TRUE(CreateHardLinkW(InData(name), victim, nullptr)); }
    void ExpectVictimUntouched() const { EXPECT_EQ(folder.ReadBytes(L"victim"), "of another program"); }
    bool IsThere(const CString& path) const { return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES; }
    static bool NamesABackupFolder()
    {
        GetUserConfigurations().Load();
        wchar_t path[MAX_PATH];
        return GetUserConfigurations().GetValue(L"Backup::path", path, MAX_PATH);
    }
    void EndWithSomethingPending()
    {
        Select(TreeItem());
        watcher.AddSingleNotification(Write(L"a.txt"));
        watcher.DeInit();
    }
    bool Heard(std::wstring_view part) const
    {
        for (const LogCapture::Line& line : log.Lines())
            if (line.text.find(part) != std::wstring::npos)
                return true;
        return false;
    }
    static int FullEnumeration()
    {
        GetServiceRunSettings().Load();
        return GetServiceRunSettings().GetValue(FirstTimeRunTimeKey, 0);
    }

    const CString victim = folder.Path(L"victim");
};

TEST_F(PlantedFiles, TheLogIsNotWrittenThroughALink)
{
    if (const std::string why = WhyNoFileLinks(folder.Path().GetString()); !why.empty())
        GTEST_SKIP() << why;
    g_OrbLog.Close();
    DeleteFileW(InData(L"OrbWatcher.log"));
    PlantLink(L"OrbWatcher.log");
    g_OrbLog.WriteLog(2, L"", 0, L"a line");
    ExpectVictimUntouched();
    EXPECT_TRUE(Heard(L"OrbWatcher.log cannot be written: it is a link"));
}

TEST_F(PlantedFiles, TheLogIsNotWrittenThroughASecondName)
{
    g_OrbLog.Close();
    DeleteFileW(InData(L"OrbWatcher.log"));
    PlantHardLink(L"OrbWatcher.log");
    g_OrbLog.WriteLog(2, L"", 0, L"a line");
    ExpectVictimUntouched();
}

TEST_F(PlantedFiles, TheLogIsNotMadeWhereALinkWithoutATargetLeads)
{
    if (const std::string why = WhyNoFileLinks(folder.Path().GetString()); !why.empty())
        GTEST_SKIP() << why;
    g_OrbLog.Close();
    DeleteFileW(InData(L"OrbWatcher.log"));
    PlantLink(L"OrbWatcher.log");
    DeleteFileW(victim);
    g_OrbLog.WriteLog(2, L"", 0, L"a line");
    EXPECT_FALSE(IsThere(victim));
}

TEST_F(PlantedFiles, TheDumpIsNotWrittenThroughALink)
{
    if (const std::string why = WhyNoFileLinks(folder.Path().GetString()); !why.empty())
        GTEST_SKIP() << why;
    PlantLink(L"watcher_dump.bin");
    EndWithSomethingPending();
    ExpectVictimUntouched();
    EXPECT_FALSE(watcher.IsPendingKept()) << "what was pending is found again by looking";
}

TEST_F(PlantedFiles, TheDumpIsNotWrittenThroughASecondName)
{
    PlantHardLink(L"watcher_dump.bin");
    EndWithSomethingPending();
    ExpectVictimUntouched();
    EXPECT_FALSE(watcher.IsPendingKept());
}

TEST_F(PlantedFiles, ADumpOfAnotherAccountIsPutAsideAndEverythingIsLookedAt)
{
    GetServiceRunSettings().SetValue(FirstTimeRunTimeKey, 1767225600);
    ASSERT_TRUE(GetServiceRunSettings().Save());
    Select(TreeItem());
    EndWithSomethingPending();
    ASSERT_TRUE(IsThere(InData(L"watcher_dump.bin")));
    {
        const AnotherAccount foreign(nullptr, L"watcher_dump.bin");
        watcher.Init();
        Select(TreeItem());
        watcher.Resume();
    }
    EXPECT_TRUE(Drain().empty());
    EXPECT_EQ(FullEnumeration(), 0) << "due";
    EXPECT_FALSE(IsThere(InData(L"watcher_dump.bin")));
    EXPECT_TRUE(IsThere(InData(L"watcher_dump.bin.bad")));
    EXPECT_TRUE(Heard(L"is not replayed: it belongs to another account"));
}

TEST_F(PlantedFiles, ASettingOfAnotherAccountIsNotUsed)
{
    folder.WriteBytes(L"data\\UserConfigurations.json", R"({"Backup": {"path": "C:\\"}})");
    ASSERT_TRUE(NamesABackupFolder());
    SetEnvironmentVariableW(L"ORB_DATA_FOLDER", folder.Path(L"other"));
    folder.WriteBytes(L"other\\UserConfigurations.json", R"({"Backup": {"path": "C:\\"}})");
    const AnotherAccount foreign(L"OrbSettings.dll", L"UserConfigurations.json");
    EXPECT_FALSE(NamesABackupFolder());
    EXPECT_TRUE(Heard(L"UserConfigurations.json cannot be read: it belongs to another account"));
}

TEST_F(PlantedFiles, ASettingBehindALinkIsNotUsed)
{
    if (const std::string why = WhyNoFileLinks(folder.Path().GetString()); !why.empty())
        GTEST_SKIP() << why;
    folder.WriteBytes(L"victim", R"({"Backup": {"path": "C:\\"}})");
    PlantLink(L"UserConfigurations.json");
    EXPECT_FALSE(NamesABackupFolder());
}

TEST_F(PlantedFiles, ASettingWithASecondNameIsNotUsed)
{
    folder.WriteBytes(L"victim", R"({"Backup": {"path": "C:\\"}})");
    PlantHardLink(L"UserConfigurations.json");
    EXPECT_FALSE(NamesABackupFolder());
}

TEST_F(PlantedFiles, SettingsAreNotWrittenThroughALink)
{
    if (const std::string why = WhyNoFileLinks(folder.Path().GetString()); !why.empty())
        GTEST_SKIP() << why;
    PlantLink(L"UserConfigurations.json");
    GetUserConfigurations().SetValue(L"Test::value", 7);
    EXPECT_FALSE(GetUserConfigurations().Save());
    ExpectVictimUntouched();
    EXPECT_TRUE(Heard(L"UserConfigurations.json cannot be written: it is a link"));
}

TEST_F(PlantedFiles, SettingsOfAnotherAccountArePutAsideBeforeOnesAreWritten)
{
    folder.WriteBytes(L"data\\UserConfigurations.json", R"({"Backup": {"path": "C:\\"}})");
    const AnotherAccount foreign(L"OrbSettings.dll", L"UserConfigurations.json");
    GetUserConfigurations().Load();
    GetUserConfigurations().SetValue(L"Test::value", 7);
    EXPECT_TRUE(GetUserConfigurations().Save());
    EXPECT_NE(folder.ReadBytes(L"data\\UserConfigurations.json.bad").find("C:"), std::string::npos);
    EXPECT_EQ(folder.ReadBytes(L"data\\UserConfigurations.json").find("C:"), std::string::npos);
}

// The name of a draft must not follow from the process's number.
TEST_F(PlantedFiles, NoDraftIsWrittenThroughALinkThatForeseesItsName)
{
    for (unsigned count = 1; count <= 64; ++count) {
        wchar_t name[64];
        swprintf(name, 64, L"data\\~o%x-%x.tmp", static_cast<unsigned>(GetCurrentProcessId()), count);
        ASSERT_TRUE(CreateHardLinkW(folder.Path(name), victim, nullptr));
    }
    GetUserConfigurations().SetValue(L"Test::value", 7);
    EXPECT_TRUE(GetUserConfigurations().Save());
    ExpectVictimUntouched();
}

TEST_F(PlantedFiles, NothingInAFolderOfAnotherAccountIsReadOrWritten)
{
    SetEnvironmentVariableW(L"ORB_DATA_FOLDER", folder.Path(L"foreign"));
    folder.WriteBytes(L"foreign\\UserConfigurations.json", R"({"Backup": {"path": "C:\\"}})");
    const AnotherAccount toSettings(L"OrbSettings.dll", L"foreign");
    const AnotherAccount toLog(L"OrbLogging.dll", L"foreign");
    const AnotherAccount toWatcher(nullptr, L"foreign");
    EXPECT_FALSE(NamesABackupFolder());
    GetUserConfigurations().SetValue(L"Test::value", 7);
    EXPECT_FALSE(GetUserConfigurations().Save());
    EndWithSomethingPending();
    EXPECT_FALSE(watcher.IsPendingKept());
    EXPECT_EQ(FullEnumeration(), 0) << "the next start looks at everything";
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path(L"foreign").GetString()))
        files += entry.is_regular_file();
    EXPECT_EQ(files, 1u) << "only the one that was there";
}

std::vector<AccessList> g_made;

BOOL WINAPI NoteAccess(const wchar_t* path, SECURITY_ATTRIBUTES* attributes)
{
    g_made.emplace_back(attributes);
    return CreateDirectoryW(path, attributes);
}

TEST_F(PlantedFiles, OthersMayNotWriteToTheFolderThatIsMade)
{
    g_made.clear();
    SetEnvironmentVariableW(L"ORB_DATA_FOLDER", folder.Path(L"new"));
    const ImportedCall call(L"OrbSettings.dll", "CreateDirectoryW", &NoteAccess);
    GetMainSettings().GetDataFolderPath();
    ASSERT_EQ(g_made.size(), 1u);
    EXPECT_TRUE(g_made[0].isProtected);
    constexpr ACCESS_MASK writing = FILE_ADD_FILE | FILE_ADD_SUBDIRECTORY | FILE_DELETE_CHILD | DELETE | WRITE_DAC |
                                    WRITE_OWNER | FILE_WRITE_ATTRIBUTES | FILE_WRITE_EA | GENERIC_WRITE | GENERIC_ALL;
    for (const ACCESS_MASK mask : g_made[0].others)
        EXPECT_EQ(mask & writing, 0u);
}

} // namespace
