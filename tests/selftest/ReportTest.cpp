// The reports of the self-test.
#include "tests/selftest/Report.h"
#include "tests/selftest/ReportText.h"
#include "xml/Markup.h"

#include <gtest/gtest.h>

namespace
{

using Outcome = TestResult::Outcome;

const MachineFacts Facts = {{"System", "one & only"}};

std::vector<ProgramResult> Results()
{
    return {{"first_tests",
             1.5,
             {{"A.Passes", Outcome::Passed, 0.5, ""},
              {"A.Fails", Outcome::Failed, 0.25, "a.cpp(7): <expected> \"this\"\nand that"},
              {"B.Skips", Outcome::Skipped, 0, "no <drive>"}}},
            {"second_tests", 2, {{"C.Skips", Outcome::Skipped, 0, "no <drive>"}}}};
}

std::wstring Attribute(const CMarkup& document, const wchar_t* name) { return document.GetAttribute(name).GetString(); }

TEST(SelftestReports, TotalsCountAllPrograms) { EXPECT_EQ(Totals(Results()), "1 passed, 1 failed, 2 skipped"); }

TEST(SelftestReports, TheXmlHasASuiteForEachProgramAndACaseForEachTest)
{
    const std::string text = JUnitReport(Facts, Results());
    CMarkup document;
    ASSERT_TRUE(document.SetDoc(std::wstring(text.begin(), text.end()).c_str())) << text;
    ASSERT_TRUE(document.FindElement(L"testsuites"));
    EXPECT_EQ(Attribute(document, L"tests"), L"4");
    EXPECT_EQ(Attribute(document, L"failures"), L"1");
    EXPECT_EQ(Attribute(document, L"skipped"), L"2");
    ASSERT_TRUE(document.EnterElement() && document.FindElement(L"testsuite"));
    EXPECT_EQ(Attribute(document, L"name"), L"first_tests");
    EXPECT_EQ(Attribute(document, L"time"), L"1.500");
    ASSERT_TRUE(document.EnterElement() && document.FindElement(L"testcase") && document.FindElement(L"testcase"));
    EXPECT_EQ(Attribute(document, L"classname"), L"first_tests.A");
    EXPECT_EQ(Attribute(document, L"name"), L"Fails");
    ASSERT_TRUE(document.EnterElement() && document.FindElement(L"failure"));
    EXPECT_EQ(Attribute(document, L"message"), L"a.cpp(7): <expected> \"this\"");
}

TEST(SelftestReports, ThePageNamesEachFailureWithItsTextAndEachReasonOnce)
{
    const std::string page = HtmlReport(Facts, Results());
    EXPECT_NE(page.find("first_tests: A.Fails"), std::string::npos);
    EXPECT_NE(page.find("&lt;expected&gt;"), std::string::npos);
    const std::size_t reason = page.find("no &lt;drive&gt;");
    ASSERT_NE(reason, std::string::npos);
    EXPECT_EQ(page.find("no &lt;drive&gt;", reason + 1), std::string::npos);
    EXPECT_NE(page.find("second_tests: C.Skips"), std::string::npos);
    EXPECT_NE(page.find("one &amp; only"), std::string::npos);
}

TEST(ReportTexts, HaveNoMarkupAndNoCharacterThatXmlDoesNotHave)
{
    EXPECT_EQ(Escaped("<a href=\"x\">&</a>"), "&lt;a href=&quot;x&quot;&gt;&amp;&lt;/a&gt;");
    EXPECT_EQ(Escaped("one\ntwo\x01\x1b[0m"), "one&#10;two[0m");
    EXPECT_EQ(Escaped("\xC3\xBC\xFF"), "\xC3\xBC\xEF\xBF\xBD");
}

TEST(ReportTexts, SecondsHaveThreeDigits)
{
    EXPECT_EQ(Seconds(0), "0.000");
    EXPECT_EQ(Seconds(1234.5678), "1234.568");
}

} // namespace
