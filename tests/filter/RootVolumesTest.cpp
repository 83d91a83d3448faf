// The deepest rule of a drive says which volume the whole drive must hold.
#include "orbwatcher4/filter/RootVolumes.h"

#include <gtest/gtest.h>

namespace
{

constexpr std::int32_t Present = 77;

FilterPtr Rule(const wchar_t* path, std::int32_t vid)
{
    auto rule = std::make_shared<Filter>();
    rule->path = path;
    rule->vid = vid;
    return rule;
}

std::wstring Said(const FilterList& rules) { return RootVolumes::Consequence(L"e:\\", rules, Present); }

TEST(VolumesOfARoot, RulesWithoutAVolumeOrOfTheOneThatIsThereNeedNoWord)
{
    EXPECT_EQ(Said({Rule(L"E:\\a\\b\\", 0), Rule(L"E:\\a\\", Present)}), L"");
    EXPECT_EQ(Said({Rule(L"E:\\a\\b\\", Present), Rule(L"E:\\a\\", 0)}), L"");
}

TEST(VolumesOfARoot, AnotherVolumeOfTheDeepestRuleKeepsTheWholeDriveWaiting)
{
    const std::wstring said = Said({Rule(L"E:\\a\\b\\", 12345), Rule(L"E:\\a\\", 0)});
    EXPECT_NE(said.find(L"nothing on e:\\ is watched or enumerated until the volume 12345 is there"),
              std::wstring::npos);
    EXPECT_NE(said.find(L"E:\\a\\b\\"), std::wstring::npos);
}

TEST(VolumesOfARoot, AnotherVolumeOfAShallowerRuleHasNoEffect)
{
    const std::wstring said = Said({Rule(L"E:\\a\\b\\", 0), Rule(L"E:\\a\\", -1)});
    EXPECT_NE(said.find(L"the rule of E:\\a\\ holds for the volume that is there"), std::wstring::npos);
    EXPECT_NE(said.find(L"4294967295"), std::wstring::npos);
    EXPECT_NE(said.find(L"and it names no volume"), std::wstring::npos);
}

} // namespace
