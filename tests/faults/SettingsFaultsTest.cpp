// Settings are the old ones or the new ones, as the operation says.
#include "tests/faults/FaultyWatcher.h"

namespace
{

class FaultySettings : public FaultyWatcher
{
protected:
    std::int32_t OnDisk()
    {
        const std::string bytes = folder.ReadBytes(L"data\\ServiceRunSettings.json");
        return bytes.find("\"Value\": 2") != std::string::npos   ? 2
               : bytes.find("\"Value\": 1") != std::string::npos ? 1
                                                                 : 0;
    }
    void Prepare()
    {
        GetServiceRunSettings().Load();
        GetServiceRunSettings().SetValue(L"Test::Value", 1);
        ASSERT_TRUE(GetServiceRunSettings().Save());
        GetServiceRunSettings().SetValue(L"Test::Value", 2);
        saved = false;
    }
    void Run() { saved = GetServiceRunSettings().Save(); }
    void Check()
    {
        EXPECT_EQ(OnDisk(), saved ? 2 : 1);
        EXPECT_TRUE(saved || HasErrorInLog());
        EXPECT_TRUE(GetServiceRunSettings().Save());
        EXPECT_EQ(OnDisk(), 2);
    }

    bool saved = false;
};

TEST_P(FaultySettings, AreSavedOrNot)
{
    TryFaults({"settings saved", [this] { Prepare(); }, [this] { Run(); }, [this] { Check(); }});
}

// Not without memory: the JSON library takes some to let a document go, and ends the process where it gets none.
INSTANTIATE_TEST_SUITE_P(, FaultySettings,
                         testing::Values(Faults::Opening(), Faults::Reading(), Faults::Writing(), Faults::FullDisk(),
                                         Faults::Denied()),
                         [](const auto& info) { return info.param.name; });

} // namespace
