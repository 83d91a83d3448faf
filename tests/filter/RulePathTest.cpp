// The spellings of a rule's path, without a machine.
#include "orbwatcher4/filter/RulePath.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace
{

using Refusal = RulePath::Refusal;

// A disk that knows some names.
class KnownNames final : public RulePathDisk
{
public:
    std::map<std::wstring, std::wstring> names;
    std::vector<std::wstring> asked;

    CString NameOf(const CString& path) override
    {
        asked.emplace_back(path.View());
        const auto found = names.find(std::wstring(path.View()));
        return found == names.end() ? CString() : CString(found->second.c_str());
    }
};

std::wstring FormOf(std::wstring_view written, RulePathDisk* disk = nullptr)
{
    const RulePath formed = FormRulePath(written, disk);
    EXPECT_EQ(formed.refusal, Refusal::None);
    return std::wstring(formed.text.View());
}

Refusal RefusalOf(std::wstring_view written)
{
    const RulePath formed = FormRulePath(written, nullptr);
    EXPECT_EQ(formed.text.View(), written);
    EXPECT_FALSE(IsPlainRulePath(written));
    return formed.refusal;
}

TEST(RulePathForm, APathInTheFormStaysAndNeedsNoCloserLook)
{
    for (const wchar_t* path :
         {L"C:\\", L"C:\\docs", L"c:\\Docs\\", L"C:\\docs\\letter.odt", L"C:\\.config\\a b\\..x\\",
          L"\\\\server\\share", L"\\\\server\\share\\", L"\\\\server\\share\\d\\f.txt", L"C:\\\x4e2d\\\xe4\xf6.txt"}) {
        EXPECT_TRUE(IsPlainRulePath(path)) << std::string(path, path + std::char_traits<wchar_t>::length(path));
        EXPECT_EQ(FormOf(path), path);
    }
}

TEST(RulePathForm, EverySpellingComesToTheSystemsForm)
{
    const std::map<std::wstring, std::wstring> spellings = {
        {L"C:/docs/", L"C:\\docs\\"},
        {L"C:\\\\docs\\\\", L"C:\\docs\\"},
        {L"C:\\docs\\..\\docs\\", L"C:\\docs\\"},
        {L"C:\\docs\\..\\..\\..\\x", L"C:\\x"},
        {L"C:\\docs\\.\\a", L"C:\\docs\\a"},
        {L"C:\\docs\\.", L"C:\\docs"},
        {L"C:\\docs\\a\\..", L"C:\\docs"},
        {L"C:\\a\\..", L"C:\\"},
        {L"C:\\docs.", L"C:\\docs"},
        {L"C:\\docs.\\", L"C:\\docs\\"},
        {L"C:\\docs ", L"C:\\docs"},
        {L"C:\\docs. . ", L"C:\\docs"},
        {L"C:\\docs.\\letter.odt", L"C:\\docs\\letter.odt"},
        {L"C:\\a\\...", L"C:\\a\\"},
        {L"C:", L"C:\\"},
        {L"C:/", L"C:\\"},
        {L"\\\\?\\C:\\docs\\", L"C:\\docs\\"},
        {L"\\\\?\\C:", L"C:\\"},
        {L"//?/C:/docs/", L"C:\\docs\\"},
        {L"\\\\?\\UNC\\server\\share\\d", L"\\\\server\\share\\d"},
        {L"\\\\?\\unc\\server\\share", L"\\\\server\\share"},
        {L"//server/share/d/", L"\\\\server\\share\\d\\"},
        {L"\\\\server\\\\share\\\\d", L"\\\\server\\share\\d"},
        {L"\\\\server\\share\\..\\..\\d", L"\\\\server\\share\\d"},
    };
    for (const auto& [written, form] : spellings) {
        EXPECT_FALSE(IsPlainRulePath(written)) << std::string(written.begin(), written.end());
        EXPECT_EQ(FormOf(written), form) << std::string(written.begin(), written.end());
    }
}

TEST(RulePathForm, UpperAndLowerCaseStay) { EXPECT_EQ(FormOf(L"c:/DOCS/Old"), L"c:\\DOCS\\Old"); }

TEST(RulePathForm, WhatNamesNoFullPathIsRefused)
{
    EXPECT_EQ(RefusalOf(L"docs\\letter.odt"), Refusal::Relative);
    EXPECT_EQ(RefusalOf(L".\\docs"), Refusal::Relative);
    EXPECT_EQ(RefusalOf(L" C:\\docs"), Refusal::Relative);
    EXPECT_EQ(RefusalOf(L"$$ALLPATHS$$"), Refusal::Relative);
    EXPECT_EQ(RefusalOf(L"C:docs"), Refusal::NoBackslash);
    EXPECT_EQ(RefusalOf(L"\\docs"), Refusal::NoDrive);
    EXPECT_EQ(RefusalOf(L"/docs"), Refusal::NoDrive);
    EXPECT_EQ(RefusalOf(L"\\"), Refusal::NoDrive);
    EXPECT_EQ(RefusalOf(L"\\\\server"), Refusal::NoShare);
    EXPECT_EQ(RefusalOf(L"\\\\server\\"), Refusal::NoShare);
    EXPECT_EQ(RefusalOf(L"\\\\\\\\server\\\\share"), Refusal::NoShare);
    EXPECT_EQ(RefusalOf(L"\\\\.\\PhysicalDrive0"), Refusal::Device);
    EXPECT_EQ(RefusalOf(L"\\\\?\\GLOBALROOT\\Device\\x"), Refusal::Device);
    EXPECT_EQ(RefusalOf(L"\\\\?\\Volume{01234567-89ab-cdef-0123-456789abcdef}\\docs\\"), Refusal::Volume);
    for (int refusal = 1; refusal <= static_cast<int>(Refusal::Volume); ++refusal)
        EXPECT_STRNE(WhyRefused(static_cast<Refusal>(refusal)), L"");
}

TEST(RulePathForm, BehindThePrefixANameKeepsItsDotsAndSpaces)
{
    EXPECT_EQ(FormOf(L"\\\\?\\C:\\docs.\\a \\"), L"C:\\docs.\\a \\");
}

TEST(RulePathForm, ANameThatEndsInADotStaysWhenTheDiskHasIt)
{
    KnownNames disk;
    disk.names[L"C:\\docs."] = L"docs.";
    EXPECT_EQ(FormOf(L"C:\\docs.\\a.", &disk), L"C:\\docs.\\a");
    EXPECT_EQ(disk.asked, (std::vector<std::wstring>{L"C:\\docs.", L"C:\\docs.\\a."}));
}

TEST(RulePathForm, ANameThatTheDiskHasWithoutItsDotIsTrimmed)
{
    KnownNames disk;
    disk.names[L"C:\\docs."] = L"docs";
    EXPECT_EQ(FormOf(L"C:\\docs.", &disk), L"C:\\docs");
}

TEST(RulePathForm, AShortNameBecomesTheLongOneThatTheDiskKnows)
{
    KnownNames disk;
    disk.names[L"C:\\DOCUME~1"] = L"Documents and Settings";
    disk.names[L"C:\\Documents and Settings\\ANNA12~1.OLD"] = L"Anna 12.older";
    const RulePath formed = FormRulePath(L"C:\\DOCUME~1\\ANNA12~1.OLD\\x\\", &disk);
    EXPECT_STREQ(formed.text, L"C:\\Documents and Settings\\Anna 12.older\\x\\");
    EXPECT_FALSE(formed.unknownShortName);
}

TEST(RulePathForm, AShortNameThatTheDiskDoesNotKnowStaysAndIsSaid)
{
    KnownNames disk;
    const RulePath formed = FormRulePath(L"C:\\DOCUME~1\\x", &disk);
    EXPECT_STREQ(formed.text, L"C:\\DOCUME~1\\x");
    EXPECT_TRUE(formed.unknownShortName);
}

// A long name in the form of a short one keeps the case in which it is written.
TEST(RulePathForm, ANameThatTheDiskHasAsItIsStaysAsWritten)
{
    KnownNames disk;
    disk.names[L"C:\\DRAFT~1"] = L"draft~1";
    const RulePath formed = FormRulePath(L"C:\\DRAFT~1", &disk);
    EXPECT_STREQ(formed.text, L"C:\\DRAFT~1");
    EXPECT_FALSE(formed.unknownShortName);
}

TEST(RulePathForm, OnlyNamesThatLookShortAreAskedOf)
{
    KnownNames disk;
    for (const wchar_t* path : {L"C:\\~$letter.odt", L"C:\\backup~", L"C:\\a~b", L"C:\\toolongname~1", L"C:\\ab~1.html",
                                L"C:\\a~1.b.c", L"C:\\~1"})
        FormRulePath(path, &disk);
    EXPECT_TRUE(disk.asked.empty());
}

TEST(RulePathForm, ImpossibleNamesStayAndAreSaid)
{
    KnownNames disk;
    for (const wchar_t* path : {L"C:\\docs\\*.odt", L"C:\\a?", L"C:\\a|b\\", L"C:\\a:b", L"C:\\a\tb", L"C:\\\"a\""}) {
        EXPECT_FALSE(IsPlainRulePath(path));
        const RulePath formed = FormRulePath(path, &disk);
        EXPECT_STREQ(formed.text, path);
        EXPECT_TRUE(formed.impossibleName);
    }
    EXPECT_FALSE(FormRulePath(L"C:/a&b~c", &disk).impossibleName);
}

TEST(RulePathForm, ANameThatStillEndsInASpaceIsSaid)
{
    const RulePath formed = FormRulePath(L"C:\\docs \\a", nullptr);
    EXPECT_STREQ(formed.text, L"C:\\docs \\a");
    EXPECT_TRUE(formed.doubtfulEnd);
    EXPECT_FALSE(FormRulePath(L"C:\\docs.\\a.", nullptr).doubtfulEnd);
}

TEST(RulePathForm, TheFormOfTheFormIsTheForm)
{
    for (const wchar_t* path : {L"C:/docs/../a./b ", L"//s//h//x. .", L"C:\\a. \\b"}) {
        const std::wstring form = FormOf(path);
        EXPECT_EQ(FormOf(form), form);
    }
}

TEST(RulePathForm, ARefusedPathIsComparedAsItIsWritten)
{
    EXPECT_STREQ(ComparableRulePath(L"C:/a", nullptr), L"C:\\a");
    EXPECT_STREQ(ComparableRulePath(L"a/b", nullptr), L"a/b");
}

} // namespace
