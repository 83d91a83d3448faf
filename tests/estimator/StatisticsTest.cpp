// The statistics file, and the cost that nothing is made of.
#include "tests/estimator/ScannerFixture.h"

#include <clocale>
#include <cmath>

namespace
{

class Statistics : public ScannerFixture
{
protected:
    void Load(const std::string& bytes)
    {
        folder.WriteBytes(L"stats.xml", bytes);
        scanner.SetBasicInfo(nullptr, nullptr, folder.Path(L"stats.xml"));
        ScannerAccess::LoadExtensions(scanner);
        ScannerAccess::LoadProfiles(scanner);
    }
    float Ratio(const wchar_t* extension) { return Extensions().find(extension)->second.ratio; }
    bool Knows(const wchar_t* extension) { return Extensions().find(extension) != Extensions().end(); }
    ExtensionMap& Extensions() { return ScannerAccess::Extensions(scanner); }
    std::map<int, double> Rates()
    {
        return {ScannerAccess::Rates(scanner).begin(), ScannerAccess::Rates(scanner).end()};
    }
    static FSEntry Entry(const wchar_t* name)
    {
        FSEntry entry;
        entry.name = name;
        return entry;
    }
};
using RateMap = std::map<int, double>;

TEST_F(Statistics, MasksAreKeptInLowerCaseAndTheLaterOneCounts)
{
    Load("<OrbExtensions><Extension mask=\".TMP\" ratio=\"1\"/><x/><Extension mask=\".tmp\" ratio=\"2\"/>"
         "<Extension ratio=\"3\"/></OrbExtensions>");
    EXPECT_EQ(Extensions().size(), 2u);
    EXPECT_EQ(Ratio(L".tmp"), 2.0f);
    EXPECT_EQ(Ratio(L""), 3.0f);
}

TEST_F(Statistics, AFileThatIsMissingOrNoXmlHoldsNothingAndKeepsWhatWasRead)
{
    for (const char* bytes : {"", "no xml", "<OrbExtensions defaultRatio=\"2\"><Extension mask=\".b\" ratio=\"1\">",
                              "<OrbExtensions defaultRatio=\"2\"></Other>", "<orbextensions defaultRatio=\"2\"/>"}) {
        Load("<OrbExtensions defaultRatio=\"1\"><Extension mask=\".a\" ratio=\"5\"/></OrbExtensions>");
        EXPECT_EQ(ScannerAccess::DefaultRatio(scanner), 1.0f);
        Load(bytes);
        EXPECT_EQ(ScannerAccess::DefaultRatio(scanner), 0.0f) << bytes;
        EXPECT_EQ(Extensions().size(), 1u) << bytes;
        EXPECT_EQ(Ratio(L".a"), 5.0f);
    }
    scanner.SetBasicInfo(nullptr, nullptr, folder.Path(L"none.xml"));
    ScannerAccess::LoadExtensions(scanner);
    ScannerAccess::LoadProfiles(scanner);
    EXPECT_EQ(Extensions().size(), 1u);
}

TEST_F(Statistics, WhatIsNoNumberIsZero)
{
    Load("<OrbExtensions defaultRatio=\"much\"><Extension mask=\".a\" ratio=\"\"/><Extension mask=\".b\" ratio=\" "
         "-.5x\"/><Extension mask=\".c\" ratio=\"0,5\"/><Extension mask=\".d\" ratio=\"1e999\"/></OrbExtensions>");
    EXPECT_EQ(ScannerAccess::DefaultRatio(scanner), 0.0f);
    EXPECT_EQ(Ratio(L".a"), 0.0f);
    EXPECT_EQ(Ratio(L".b"), -0.5f);
    EXPECT_EQ(Ratio(L".c"), 0.0f);
    EXPECT_TRUE(std::isinf(Ratio(L".d")));
}

TEST_F(Statistics, ThePointIsAPointInEveryLocale)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    std::setlocale(LC_ALL, "German");
    Load("<OrbExtensions defaultRatio=\"0.5\"/>");
    std::setlocale(LC_ALL, before.c_str());
    EXPECT_EQ(ScannerAccess::DefaultRatio(scanner), 0.5f);
}

TEST_F(Statistics, RatesAreSummedInTheirOrderAndTheLaterOneCounts)
{
    Load("<Data><Item/><Plugin id=\"1\" modificationRate=\"1e16\" deletionRate=\"1e16\" additionRate=\"0.3\"/>"
         "<Plugin id=\"2\" additionRate=\"9\"/><Plugin id=\"2\" deletionRate=\"1\"/><Plugin/></Data>");
    EXPECT_EQ(Rates(), (RateMap{{0, 0.0}, {1, 0.3}, {2, -1.0}}));
}

TEST_F(Statistics, ProfilesThatTheTableCannotHoldArePassedOver)
{
    Load("<Data><Plugin id=\"-10\"/><Plugin id=\"-11\"/><Plugin id=\"-12\"/></Data>");
    EXPECT_EQ(Rates(), (RateMap{{-12, 0.0}}));
}

TEST_F(Statistics, TheStoredSelectionSaysWhichProfileAnExtensionBelongsTo)
{
    Configure(FolderItem(L"B:\\none", L"mask=\".DOC;.xls\" pluginId=\"7\""));
    scanner.Start();
    EXPECT_EQ(Extensions().find(L".doc")->second.profile, 7);
    EXPECT_EQ(Extensions().find(L".xls")->second.profile, 7);
}

TEST_F(Statistics, TheCostIsZeroAndTheProfileOfAKnownExtensionGetsARate)
{
    EXPECT_EQ(ScannerAccess::Cost(scanner, Entry(L"a.doc")), 0.0);
    EXPECT_TRUE(Rates().empty());
    Extensions()[L".doc"].profile = 7;
    Extensions()[L".txt"].ratio = 5;
    Extensions()[L".odd"].profile = EmptyProfile;
    for (const wchar_t* name : {L"a.txt", L"a.doc.none", L"doc", L".DOC", L"a.odd"})
        EXPECT_EQ(ScannerAccess::Cost(scanner, Entry(name)), 0.0);
    EXPECT_TRUE(Rates().empty());
    EXPECT_EQ(ScannerAccess::Cost(scanner, Entry(L"a.b.doc")), 0.0);
    EXPECT_EQ(Rates(), (RateMap{{7, 0.0}}));
    ScannerAccess::Rates(scanner)[7] = 2.5;
    EXPECT_EQ(ScannerAccess::Cost(scanner, Entry(L"x.doc")), 0.0);
    EXPECT_EQ(Rates(), (RateMap{{7, 2.5}}));
}

TEST_F(Statistics, ANameWithoutADotHasTheEmptyExtension)
{
    Extensions()[L""].profile = 4;
    EXPECT_EQ(ScannerAccess::Cost(scanner, Entry(L"readme")), 0.0);
    EXPECT_EQ(Rates(), (RateMap{{4, 0.0}}));
}

TEST_F(Statistics, AFileThatIsFoundIsLookedUpByItsLowerCaseName)
{
    Extensions()[L".doc"].profile = 3;
    scanner.FileFoundCallback(L"C:\\Dir.x\\A.DOC", 10);
    EXPECT_EQ(Rates(), (RateMap{{3, 0.0}}));
    EXPECT_EQ(scanner.GetTotalCost(), 0.0);
}

TEST_F(Statistics, PricesAreKeptInSinglePrecision)
{
    EXPECT_EQ(ScannerAccess::FirstPrice(scanner), 0.0f);
    scanner.SetPrice(0.1, 2.5);
    EXPECT_EQ(ScannerAccess::FirstPrice(scanner), 0.1f);
    EXPECT_EQ(ScannerAccess::SecondPrice(scanner), 2.5f);
}

} // namespace
