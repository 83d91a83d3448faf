#include "companions/settings/OrbSettings.h"
#include "support/Handle.h"
#include "tests/companions/CompanionTest.h"
#include "tests/support/ImportedCall.h"

#include <cwchar>
#include <functional>
#include <set>
#include <string>
#include <thread>

namespace
{

constexpr const wchar_t* mainFile = L"data\\MainSettings.json";

class OrbSettings : public CompanionTest
{
protected:
    CMainSettings& settings = GetMainSettings();

    CString Text(const wchar_t* key) const
    {
        wchar_t buffer[300];
        return settings.GetValue(key, buffer, 300) ? CString(buffer) : CString(L"<none>");
    }
    bool AnyTemporaryFile() const
    {
        WIN32_FIND_DATAW found;
        const FindHandle search(FindFirstFileW(temp.Path(L"data\\*.tmp"), &found));
        return static_cast<bool>(search);
    }
};

TEST_F(OrbSettings, AMissingFileReadsAsEmpty)
{
    EXPECT_TRUE(settings.Load());
    EXPECT_EQ(settings.GetValue(L"Backup::FirstTimeRunTime", 7), 7);
    EXPECT_EQ(Text(L"Backup::path"), L"<none>");
}

TEST_F(OrbSettings, TheFirstUseReadsTheFile)
{
    temp.WriteBytes(mainFile, R"({"Main": {"Online": 1}})");
    EXPECT_TRUE(settings.IsOnline());
}

TEST_F(OrbSettings, WhatWasSavedIsReadAgain)
{
    settings.SetValue(L"AppConfig::NetworkScanIntervalInHours", -3);
    settings.SetValue(L"Backup::path", L"D:\\\x4f8b \"\xfc\"\\");
    settings.SetValue(L"plain", L"value");
    ASSERT_TRUE(settings.Save());
    ASSERT_TRUE(settings.Load());
    EXPECT_EQ(settings.GetValue(L"AppConfig::NetworkScanIntervalInHours", 0), -3);
    EXPECT_EQ(Text(L"Backup::path"), L"D:\\\x4f8b \"\xfc\"\\");
    EXPECT_EQ(Text(L"plain"), L"value");
    EXPECT_FALSE(AnyTemporaryFile());
}

TEST_F(OrbSettings, EachObjectHasAFileOfItsOwn)
{
    GetMainSettings().SetValue(L"A::b", 1);
    GetServiceRunSettings().SetValue(L"A::b", 2);
    GetUserConfigurations().SetValue(L"A::b", 3);
    ASSERT_TRUE(GetMainSettings().Save() && GetServiceRunSettings().Save() && GetUserConfigurations().Save());
    ASSERT_TRUE(GetMainSettings().Load() && GetServiceRunSettings().Load() && GetUserConfigurations().Load());
    EXPECT_EQ(GetMainSettings().GetValue(L"A::b", 0), 1);
    EXPECT_EQ(GetServiceRunSettings().GetValue(L"A::b", 0), 2);
    EXPECT_EQ(GetUserConfigurations().GetValue(L"A::b", 0), 3);
}

TEST_F(OrbSettings, PersistingIsTheSecondVirtualOperation)
{
    struct Layout {
        using Operation = bool (*)(CSettings*);
        Operation* table;
    };
    settings.SetValue(L"A::b", 5);
    auto* layout = reinterpret_cast<Layout*>(static_cast<CSettings*>(&settings));
    EXPECT_TRUE(layout->table[1](&settings));
    EXPECT_TRUE(Exists(mainFile));
}

TEST_F(OrbSettings, NumbersAreCutToThirtyTwoBits)
{
    temp.WriteBytes(mainFile, R"({"N": {"a": 4294967297, "b": 2147483648, "c": -4294967298, "d": 1e10, "e": 2.9,
        "f": "4294967299", "g": " -12 ", "h": "12abc", "i": true, "j": [1], "k": "", "l": 18446744073709551615}})");
    EXPECT_EQ(settings.GetValue(L"N::a", 0), 1);
    EXPECT_EQ(settings.GetValue(L"N::b", 0), INT32_MIN);
    EXPECT_EQ(settings.GetValue(L"N::c", 0), -2);
    EXPECT_EQ(settings.GetValue(L"N::d", 0), 1410065408);
    EXPECT_EQ(settings.GetValue(L"N::e", 0), 2);
    EXPECT_EQ(settings.GetValue(L"N::f", 0), 3);
    EXPECT_EQ(settings.GetValue(L"N::g", 0), -12);
    EXPECT_EQ(settings.GetValue(L"N::h", 77), 77);
    EXPECT_EQ(settings.GetValue(L"N::i", 0), 1);
    EXPECT_EQ(settings.GetValue(L"N::j", 77), 77);
    EXPECT_EQ(settings.GetValue(L"N::k", 77), 77);
    EXPECT_EQ(settings.GetValue(L"N::l", 0), -1);
}

TEST_F(OrbSettings, ANumberReadsAsText)
{
    settings.SetValue(L"A::number", -42);
    EXPECT_EQ(Text(L"A::number"), L"-42");
}

TEST_F(OrbSettings, ATextThatDoesNotFitIsRefusedAndTheBufferEmptied)
{
    settings.SetValue(L"A::text", L"12345");
    wchar_t buffer[6];
    EXPECT_TRUE(settings.GetValue(L"A::text", buffer, 6));
    EXPECT_STREQ(buffer, L"12345");
    EXPECT_FALSE(settings.GetValue(L"A::text", buffer, 5));
    EXPECT_STREQ(buffer, L"");
    EXPECT_FALSE(settings.GetValue(L"A::text", nullptr, 0));
}

TEST_F(OrbSettings, ALoneSurrogateIsReplacedAndDoesNotThrow)
{
    settings.SetValue(L"A::text", L"x\xd800y");
    ASSERT_TRUE(settings.Save());
    ASSERT_TRUE(settings.Load());
    EXPECT_EQ(Text(L"A::text"), L"x\xfffdy");
    EXPECT_EQ(settings.GetValue(L"\xdc00::\xd800", 9), 9);
}

TEST_F(OrbSettings, WhatTheProductDoesNotKnowIsKept)
{
    temp.WriteBytes(mainFile, R"({"Other": {"list": [1, {"x": null}]}})");
    settings.SetValue(L"A::b", 1);
    ASSERT_TRUE(settings.Save());
    EXPECT_NE(temp.ReadBytes(mainFile).find("\"x\": null"), std::string::npos);
}

TEST_F(OrbSettings, AFileThatIsNotJsonIsKeptBesideAndReadsAsEmpty)
{
    std::wstring number;
    for (const char* bytes : {"{\"A\": {\"b\": 1}", "[1, 2]", "\xff\xfe{", ""}) {
        const LogCapture capture;
        temp.WriteBytes(mainFile, bytes);
        EXPECT_FALSE(settings.Load());
        EXPECT_EQ(settings.GetValue(L"A::b", 9), 9);
        EXPECT_EQ(temp.ReadBytes((L"data\\MainSettings.json.bad" + number).c_str()), bytes);
        number = number.empty() ? L"2" : std::to_wstring(std::stoi(number) + 1);
        EXPECT_FALSE(Exists(mainFile));
        EXPECT_TRUE(capture.Has(L"damaged"));
    }
    settings.SetValue(L"A::b", 3);
    ASSERT_TRUE(settings.Save());
    ASSERT_TRUE(settings.Load());
    EXPECT_EQ(settings.GetValue(L"A::b", 9), 3);
}

TEST_F(OrbSettings, AnUnreadableFileIsNeverReplaced)
{
    temp.WriteBytes(mainFile, R"({"A": {"b": 1, "c": 3}})");
    {
        const FileHandle others(
            CreateFileW(temp.Path(mainFile), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        ASSERT_TRUE(static_cast<bool>(others));
        const LogCapture capture;
        EXPECT_FALSE(settings.Load());
        EXPECT_TRUE(capture.Has(L"cannot be read"));
        settings.SetValue(L"A::b", 2);
        EXPECT_FALSE(settings.Save());
    }
    EXPECT_EQ(temp.ReadBytes(mainFile), R"({"A": {"b": 1, "c": 3}})");
    EXPECT_TRUE(settings.Save());
    EXPECT_TRUE(settings.Load());
    EXPECT_EQ(settings.GetValue(L"A::b", 0), 2);
    EXPECT_EQ(settings.GetValue(L"A::c", 0), 3); // it was only locked, not damaged
}

TEST_F(OrbSettings, AFileThatCannotBeOpenedLeavesTheValuesAsTheyWere)
{
    temp.WriteBytes(mainFile, R"({"A": {"b": 1}})");
    ASSERT_TRUE(settings.Load());
    const FileHandle others(
        CreateFileW(temp.Path(mainFile), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    const LogCapture capture;
    EXPECT_FALSE(settings.Load());
    EXPECT_EQ(settings.GetValue(L"A::b", 0), 1);
}

TEST_F(OrbSettings, ReadingAgainKeepsWhatWasSetAndNotSaved)
{
    temp.WriteBytes(mainFile, R"({"A": {"b": 1, "c": 3}})");
    settings.SetValue(L"A::b", 2);
    ASSERT_TRUE(settings.Load());
    EXPECT_EQ(settings.GetValue(L"A::b", 0), 2);
    EXPECT_EQ(settings.GetValue(L"A::c", 0), 3);
}

TEST_F(OrbSettings, SavingKeepsWhatOthersHaveWrittenInTheMeantime)
{
    temp.WriteBytes(mainFile, R"({"A": {"b": 1, "c": 3}})");
    settings.SetValue(L"A::b", 2);
    temp.WriteBytes(mainFile, R"({"A": {"b": 7, "c": 8}})");
    ASSERT_TRUE(settings.Save());
    EXPECT_EQ(settings.GetValue(L"A::b", 0), 2);
    EXPECT_EQ(settings.GetValue(L"A::c", 0), 8);
}

TEST_F(OrbSettings, AVeryDeepFileIsDamaged)
{
    temp.WriteBytes(mainFile, "{\"a\":" + std::string(20000, '[') + std::string(20000, ']') + "}");
    const LogCapture capture;
    EXPECT_FALSE(settings.Load());
    EXPECT_TRUE(capture.Has(L"damaged"));
    EXPECT_TRUE(settings.Save());
}

TEST_F(OrbSettings, AReadOnlyFileStaysAsItIsWhenSavingFails)
{
    temp.WriteBytes(mainFile, R"({"A": {"b": 1}})");
    ASSERT_TRUE(SetFileAttributesW(temp.Path(mainFile), FILE_ATTRIBUTE_READONLY));
    const LogCapture capture;
    settings.SetValue(L"A::b", 2);
    EXPECT_FALSE(settings.Save());
    EXPECT_TRUE(capture.Has(L"cannot be written"));
    SetFileAttributesW(temp.Path(mainFile), FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(temp.ReadBytes(mainFile), R"({"A": {"b": 1}})");
    EXPECT_FALSE(AnyTemporaryFile());
}

TEST_F(OrbSettings, ALockedFileStaysAsItIsWhenSavingFails)
{
    temp.WriteBytes(mainFile, R"({"A": {"b": 1}})");
    settings.SetValue(L"A::b", 2);
    {
        const FileHandle others(CreateFileW(temp.Path(mainFile), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                            FILE_ATTRIBUTE_NORMAL, nullptr));
        EXPECT_FALSE(settings.Save());
    }
    EXPECT_EQ(temp.ReadBytes(mainFile), R"({"A": {"b": 1}})");
    EXPECT_FALSE(AnyTemporaryFile());
}

TEST_F(OrbSettings, TheDataFolderIsCreatedWithItsParentsAndHasNoTrailingBackslash)
{
    UseDataFolder(temp.Path(L"a\\b\\c") + L"\\");
    EXPECT_EQ(settings.GetDataFolderPath(), temp.Path(L"a\\b\\c"));
    EXPECT_TRUE(Exists(L"a\\b\\c"));
}

TEST_F(OrbSettings, ADataFolderThatCannotBeCreatedIsNamedAllTheSameAndTold)
{
    temp.WriteBytes(L"taken", "a file where a folder should be");
    UseDataFolder(temp.Path(L"taken\\data"));
    const LogCapture capture;
    EXPECT_EQ(settings.GetDataFolderPath(), temp.Path(L"taken\\data"));
    EXPECT_TRUE(capture.Has(L"cannot be created"));
}

TEST_F(OrbSettings, AnotherDataFolderHasOtherSettings)
{
    temp.WriteBytes(L"other\\MainSettings.json", R"({"A": {"b": 5}})");
    settings.SetValue(L"A::b", 1);
    UseDataFolder(temp.Path(L"other"));
    EXPECT_EQ(settings.GetValue(L"A::b", 0), 5);
}

TEST_F(OrbSettings, KernelNamesOfTwoDataFoldersDiffer)
{
    const CString first = settings.GetMainSettingsMutex(L"mutexs::GUID_BACKUP_START");
    EXPECT_EQ(first, settings.GetMainSettingsMutex(L"mutexs::GUID_BACKUP_START"));
    EXPECT_TRUE(std::wstring(first.GetString()).starts_with(L"Global\\mutexs::GUID_BACKUP_START_"));
    EXPECT_EQ(first.GetLength(), static_cast<int>(std::wcslen(L"Global\\mutexs::GUID_BACKUP_START_")) + 16);
    UseDataFolder(temp.Path(L"other"));
    EXPECT_NE(first, settings.GetMainSettingsMutex(L"mutexs::GUID_BACKUP_START"));
}

TEST_F(OrbSettings, KernelNamesOfOneDataFolderAgreeHoweverItIsSpelt)
{
    UseDataFolder(temp.Path(L"d\u00e4ta"));
    const CString first = settings.GetMainSettingsMutex(L"base");
    UseDataFolder(temp.Path(L"x\\..\\D\u00c4TA") + L"\\");
    EXPECT_EQ(first, settings.GetMainSettingsMutex(L"base"));
}

int g_longForms = 0;

DWORD WINAPI CountedLongForm(LPCWSTR path, LPWSTR longForm, DWORD size)
{
    ++g_longForms;
    return GetLongPathNameW(path, longForm, size);
}

TEST_F(OrbSettings, TheFoldersOnTheWayToTheDataFolderAreReadForTheFirstKernelNameAlone)
{
    std::filesystem::create_directories(temp.Path(L"once").GetString());
    UseDataFolder(temp.Path(L"once"));
    const ImportedCall longForm(L"OrbSettings.dll", "GetLongPathNameW", CountedLongForm);
    g_longForms = 0;
    const CString first = settings.GetMainSettingsMutex(L"base");
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(settings.GetMainSettingsMutex(L"base"), first);
    EXPECT_EQ(g_longForms, 1);
}

DWORD WINAPI NoLongForm(LPCWSTR, LPWSTR, DWORD)
{
    ++g_longForms;
    return 0;
}

TEST_F(OrbSettings, ADataFolderWhoseLongFormCannotBeFoundIsLookedForAgain)
{
    UseDataFolder(temp.Path(L"missing"));
    const ImportedCall longForm(L"OrbSettings.dll", "GetLongPathNameW", NoLongForm);
    g_longForms = 0;
    const CString first = settings.GetMainSettingsMutex(L"base");
    EXPECT_EQ(settings.GetMainSettingsMutex(L"base"), first);
    EXPECT_EQ(g_longForms, 2);
}

TEST_F(OrbSettings, TheInstanceOfTheSettingsNamesKernelObjects)
{
    settings.SetValue(L"Main::Instance", L"a\\b");
    EXPECT_EQ(settings.GetMainSettingsMutex(L"base"), L"Global\\base_a_b");
    settings.SetValue(L"Main::Instance", L"");
    EXPECT_EQ(settings.GetMainSettingsMutex(L"base").GetLength(), 7 + 5 + 16);
}

TEST_F(OrbSettings, AnInstanceThatIsTooLongGivesNamesThatTheSystemTakesAndThatDiffer)
{
    const std::wstring same(258, L'i');
    std::set<std::wstring> names;
    for (const wchar_t* last : {L"x", L"y", L"X"})
        for (const wchar_t* base : {L"mutexs::GUID_BACKUP_START", L"mutexs::GUID_ONLINE_OUTBOX"}) {
            settings.SetValue(L"Main::Instance", (same + last).c_str());
            const CString name = settings.GetMainSettingsMutex(base);
            const KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, name));
            EXPECT_TRUE(event) << name.GetLength();
            EXPECT_LT(name.GetLength(), MAX_PATH);
            EXPECT_EQ(name, settings.GetMainSettingsMutex(base));
            EXPECT_TRUE(names.insert(name.GetString()).second);
        }
}

TEST_F(OrbSettings, ANameThatFitsIsLeftAsItIs)
{
    const std::wstring instance(MAX_PATH - 1 - 7 - 5, L'i');
    settings.SetValue(L"Main::Instance", instance.c_str());
    EXPECT_EQ(settings.GetMainSettingsMutex(L"base"), (L"Global\\base_" + instance).c_str());
}

TEST_F(OrbSettings, NamesOfKernelObjectsAreThoseOfTheWholeMachineUnlessTheSettingsSayOtherwise)
{
    settings.SetValue(L"Main::Instance", L"i");
    EXPECT_EQ(settings.GetMainSettingsMutex(L"base"), L"Global\\base_i");
    settings.SetValue(L"Main::ObjectNames", L"local");
    EXPECT_EQ(settings.GetMainSettingsMutex(L"base"), L"Local\\base_i");
    settings.SetValue(L"Main::ObjectNames", L"something else");
    EXPECT_EQ(settings.GetMainSettingsMutex(L"base"), L"Global\\base_i");
}

// --- Another process saves at the same moment. ---

struct OtherProcess {
    std::function<void(HANDLE turn)> whenTheTurnIsWanted;
    DWORD result = WAIT_OBJECT_0;
};
OtherProcess g_other;

DWORD WINAPI WantTurn(HANDLE turn, DWORD milliseconds)
{
    if (g_other.whenTheTurnIsWanted)
        g_other.whenTheTurnIsWanted(turn);
    return g_other.result == WAIT_OBJECT_0 ? WaitForSingleObject(turn, milliseconds) : g_other.result;
}

class SavingAtOnce : public OrbSettings
{
protected:
    SavingAtOnce()
    {
        g_other = {};
        settings.SetValue(L"Main::Online", 1);
    }
    ~SavingAtOnce() override { g_other = {}; }

    LogCapture log;
    const ImportedCall m_wait{L"OrbSettings.dll", "WaitForSingleObject", WantTurn};
};

TEST_F(SavingAtOnce, WhatTheOtherProcessHasSavedUntilTheTurnComesIsKept)
{
    g_other.whenTheTurnIsWanted = [&](HANDLE) { temp.WriteBytes(mainFile, R"({"Main": {"Other": 7}})"); };
    ASSERT_TRUE(settings.Save());
    const std::string saved = temp.ReadBytes(mainFile);
    EXPECT_NE(saved.find("\"Other\": 7"), std::string::npos);
    EXPECT_NE(saved.find("\"Online\": 1"), std::string::npos);
}

HANDLE g_turn;
DWORD g_othersTurn;
BOOL WINAPI AskForTheTurn(LPCWSTR target, LPCWSTR draft, DWORD flags)
{
    // Only another thread can be kept out of a mutex.
    std::thread([] { g_othersTurn = WaitForSingleObject(g_turn, 0); }).join();
    return MoveFileExW(target, draft, flags);
}

TEST_F(SavingAtOnce, NobodyElseHasTheTurnUntilTheFileIsReplaced)
{
    const ImportedCall move(L"OrbSettings.dll", "MoveFileExW", AskForTheTurn);
    g_othersTurn = WAIT_FAILED;
    // A handle of its own: the one that was given would be closed with the turn.
    g_other.whenTheTurnIsWanted = [](HANDLE turn) {
        DuplicateHandle(GetCurrentProcess(), turn, GetCurrentProcess(), &g_turn, 0, FALSE, DUPLICATE_SAME_ACCESS);
    };
    ASSERT_TRUE(settings.Save()); // a new file comes to its name by being moved
    const KernelHandle close(g_turn);
    EXPECT_EQ(g_othersTurn, static_cast<DWORD>(WAIT_TIMEOUT));
}

TEST_F(SavingAtOnce, ATurnThatDoesNotComeIsToldAndTheValueSaved)
{
    g_other.result = WAIT_TIMEOUT;
    EXPECT_TRUE(settings.Save());
    EXPECT_TRUE(log.Has(L"are written although another process may be writing them"));
    EXPECT_NE(temp.ReadBytes(mainFile).find("\"Online\": 1"), std::string::npos);
}

TEST_F(SavingAtOnce, TheTurnOfAProcessThatEndedInsideIsTaken)
{
    g_other.whenTheTurnIsWanted = [](HANDLE turn) {
        std::thread([turn] { WaitForSingleObject(turn, 0); }).join(); // ends without giving it back
    };
    EXPECT_TRUE(settings.Save());
    EXPECT_FALSE(log.Has(L"are written although"));
}

// --- A thread that acts for another account. ---

int g_calls, g_impersonating;

void CountCall()
{
    HANDLE token = nullptr;
    const KernelHandle opened(OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token) ? token : nullptr);
    ++g_calls;
    g_impersonating += static_cast<bool>(opened);
}

HANDLE WINAPI CountedOpen(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD creation,
                          DWORD flags, HANDLE pattern)
{
    CountCall();
    return CreateFileW(path, access, share, security, creation, flags, pattern);
}
BOOL WINAPI CountedMove(LPCWSTR from, LPCWSTR to, DWORD flags)
{
    CountCall();
    return MoveFileExW(from, to, flags);
}

TEST_F(OrbSettings, AThreadThatActsForSomebodyElseUsesTheFilesAsTheProcess)
{
    const ImportedCall opening(L"OrbSettings.dll", "CreateFileW", CountedOpen);
    const ImportedCall moving(L"OrbSettings.dll", "MoveFileExW", CountedMove);
    g_calls = g_impersonating = 0;
    ASSERT_TRUE(ImpersonateSelf(SecurityImpersonation));
    settings.SetValue(L"Main::Online", 1);
    EXPECT_TRUE(settings.Save() && settings.Load());
    const int before = g_impersonating;
    CountCall(); // still as the other account
    RevertToSelf();
    EXPECT_EQ(before, 0);
    EXPECT_EQ(g_impersonating, 1);
    EXPECT_GE(g_calls, 4);
}

} // namespace
