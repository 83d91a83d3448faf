// The page of the settings.
#include "companions/settings/OrbSettings.h"
#include "tests/companions/CompanionTest.h"
#include "tests/documents/Page.h"

namespace
{

class SettingsPage : public CompanionTest
{
protected:
    static std::wstring Wide(const char* name) { return std::filesystem::path(name).wstring(); }
    void Give(const char* name) { temp.WriteBytes((L"data\\" + Wide(name)).c_str(), Pages::Example(name)); }
    std::string Written(const char* name) { return temp.ReadBytes((L"data\\" + Wide(name)).c_str()); }
    static std::wstring Text(const CSettings& settings, const wchar_t* key)
    {
        wchar_t buffer[300];
        return settings.GetValue(key, buffer, 300) ? buffer : L"<none>";
    }
};

TEST_F(SettingsPage, TheExamplesAreReadAsThePageSays)
{
    for (const char* name : {"MainSettings.json", "ServiceRunSettings.json", "UserConfigurations.json"})
        Give(name);
    EXPECT_TRUE(GetMainSettings().IsOnline());
    EXPECT_STREQ(GetMainSettings().GetMainSettingsMutex(L"base"), L"Global\\base_second installation");
    EXPECT_EQ(GetServiceRunSettings().GetValue(FirstTimeRunTimeKey, 0), 1767225600);
    EXPECT_EQ(Text(GetUserConfigurations(), L"Backup::path"), L"D:\\Backup");
    EXPECT_EQ(GetUserConfigurations().GetValue(L"AppConfig::NetworkScanIntervalInHours", 24), 12);
}

TEST_F(SettingsPage, TheExamplesAreWhatIsWritten)
{
    GetMainSettings().SetValue(L"Main::Online", 1);
    GetMainSettings().SetValue(L"Main::Instance", L"second installation");
    GetServiceRunSettings().SetValue(FirstTimeRunTimeKey, 1767225600);
    GetUserConfigurations().SetValue(L"Backup::path", L"D:\\Backup");
    GetUserConfigurations().SetValue(L"AppConfig::NetworkScanIntervalInHours", 12);
    ASSERT_TRUE(GetMainSettings().Save() && GetServiceRunSettings().Save() && GetUserConfigurations().Save());
    for (const char* name : {"MainSettings.json", "ServiceRunSettings.json", "UserConfigurations.json"})
        EXPECT_EQ(Written(name), Pages::Example(name)) << name;
}

} // namespace
