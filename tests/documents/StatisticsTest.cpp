// The page of the statistics file.
#include "tests/documents/Page.h"
#include "tests/estimator/ScannerFixture.h"

namespace
{

class StatisticsPage : public ScannerFixture
{
protected:
    void Load(const char* example)
    {
        scanner.SetBasicInfo(nullptr, nullptr, Pages::ExampleFile(example).wstring().c_str());
        ScannerAccess::LoadExtensions(scanner);
        ScannerAccess::LoadProfiles(scanner);
    }
    ExtensionMap& Extensions() { return ScannerAccess::Extensions(scanner); }
    float Ratio(const wchar_t* extension) { return Extensions().find(extension)->second.ratio; }
    std::map<int, double> Rates()
    {
        return {ScannerAccess::Rates(scanner).begin(), ScannerAccess::Rates(scanner).end()};
    }
};
using RateMap = std::map<int, double>;

TEST_F(StatisticsPage, TheExampleOfExtensionsIsRead)
{
    Load("statistics.xml");
    EXPECT_EQ(ScannerAccess::DefaultRatio(scanner), 0.75f);
    EXPECT_EQ(Extensions().size(), 2u);
    EXPECT_EQ(Ratio(L".doc"), 0.4f);
    EXPECT_EQ(Ratio(L".jpg"), 1.0f);
    EXPECT_TRUE(Rates().empty());
}

TEST_F(StatisticsPage, TheExampleOfProfilesIsRead)
{
    Load("statistics-profiles.xml");
    EXPECT_EQ(Rates(), (RateMap{{3, 0.625}}));
    EXPECT_EQ(Extensions().size(), 0u);
    EXPECT_EQ(ScannerAccess::DefaultRatio(scanner), 0.0f);
}

TEST_F(StatisticsPage, TheExampleOfASelectionIsReadAsProfilesToo)
{
    Load("selection.xml");
    EXPECT_EQ(Rates(), (RateMap{{1, 0.5}}));
}

} // namespace
