// Why a path is selected or not, through the C functions.
#include "tests/capi/CapiTest.h"

namespace
{

class Explanation : public CapiTest
{
protected:
    void SetUp() override
    {
        WriteSelection(TreeItem() +
                       Item(L"path=\"" + tree + L"\" type=\"1\" includeSub=\"1\" exclude=\"1\" mask=\".tmp\""));
        ASSERT_EQ(Create(Options()), ORB_OK);
    }
    OrbExplanation Explain(const std::wstring& path)
    {
        OrbExplanationHandle made = nullptr;
        EXPECT_EQ(OrbExplain(watcher.get(), path.c_str(), &made), ORB_OK);
        explained.reset(made);
        auto answer = Sized<OrbExplanation>();
        EXPECT_EQ(OrbExplanationGet(made, &answer), ORB_OK);
        return answer;
    }
    std::wstring Text(int32_t number, int32_t text)
    {
        wchar_t buffer[ORB_PATH_CAPACITY] = {};
        EXPECT_EQ(OrbExplanationRuleText(explained.get(), static_cast<uint32_t>(number), text, buffer,
                                         ORB_PATH_CAPACITY, nullptr),
                  ORB_OK);
        return buffer;
    }

    OwnedExplanation explained;
};

TEST_F(Explanation, ASelectedPathIsIncludedByItsRule)
{
    const OrbExplanation answer = Explain(Write(L"a.txt"));
    EXPECT_EQ(answer.decision, ORB_INCLUDED);
    EXPECT_EQ(answer.ordinary, ORB_INCLUDED);
    EXPECT_EQ(answer.reason, ORB_BY_RULES);
    ASSERT_GE(answer.deciding, 0);
    ASSERT_LT(static_cast<uint32_t>(answer.deciding), answer.rules);
    auto rule = Sized<OrbRule>();
    ASSERT_EQ(OrbExplanationRule(explained.get(), static_cast<uint32_t>(answer.deciding), &rule), ORB_OK);
    EXPECT_EQ(rule.source, ORB_FROM_SELECTION);
    EXPECT_EQ(rule.includes, 1u);
    EXPECT_EQ(rule.folder, 1u);
    EXPECT_EQ(rule.withSubfolders, 1u);
    EXPECT_EQ(rule.regex, 0u);
    EXPECT_EQ(rule.plugin, 7);
    EXPECT_EQ(_wcsicmp(Text(answer.deciding, ORB_RULE_PATH).c_str(), (tree + L"\\").c_str()), 0);
    EXPECT_EQ(Text(answer.deciding, ORB_RULE_PLUGIN), L"Tree");
    EXPECT_EQ(Text(answer.deciding, ORB_RULE_MASK), L"");
    EXPECT_EQ(Text(answer.deciding, ORB_RULE_INFO), L"");
}

TEST_F(Explanation, AnExcludedPathNamesTheExclusion)
{
    const OrbExplanation answer = Explain(Write(L"a.tmp"));
    EXPECT_EQ(answer.decision, ORB_EXCLUDED);
    ASSERT_GE(answer.deciding, 0);
    auto rule = Sized<OrbRule>();
    ASSERT_EQ(OrbExplanationRule(explained.get(), static_cast<uint32_t>(answer.deciding), &rule), ORB_OK);
    EXPECT_EQ(rule.includes, 0u);
    EXPECT_EQ(rule.userExclusion, 1u);
    EXPECT_EQ(Text(answer.deciding, ORB_RULE_MASK), L".tmp");
}

TEST_F(Explanation, WhatNoRuleSpeaksOfHasNoDecidingRule)
{
    const OrbExplanation answer = Explain(L"C:\\elsewhere\\a.txt");
    EXPECT_EQ(answer.decision, ORB_NOT_INCLUDED);
    EXPECT_EQ(answer.deciding, -1);
}

TEST_F(Explanation, APathThatIsTooLongSaysSo)
{
    EXPECT_EQ(Explain(InTree(std::wstring(400, L'x'))).reason, ORB_BY_LENGTH);
}

TEST_F(Explanation, ThePathIsGivenAsTheRulesSawIt)
{
    const std::wstring path = Write(L"seen.txt");
    Explain(path);
    uint32_t needed = 0;
    EXPECT_EQ(OrbExplanationPath(explained.get(), nullptr, 0, &needed), ORB_BUFFER_TOO_SMALL);
    std::wstring buffer(needed, L'#');
    ASSERT_EQ(OrbExplanationPath(explained.get(), buffer.data(), needed, &needed), ORB_OK);
    EXPECT_EQ(_wcsicmp(buffer.c_str(), path.c_str()), 0);
    EXPECT_EQ(OrbExplanationPath(explained.get(), nullptr, needed, nullptr), ORB_BAD_ARGUMENT);
}

TEST_F(Explanation, ItIsGivenWhileWatchingAndRefusedAfterTheStop)
{
    ASSERT_EQ(OrbWatcherStart(watcher.get(), Longest), ORB_OK);
    EXPECT_EQ(Explain(Write(L"b.txt")).decision, ORB_INCLUDED);
    ASSERT_EQ(OrbWatcherStop(watcher.get()), ORB_OK);
    // An earlier explanation stays as it is.
    auto answer = Sized<OrbExplanation>();
    EXPECT_EQ(OrbExplanationGet(explained.get(), &answer), ORB_OK);
    EXPECT_EQ(answer.decision, ORB_INCLUDED);
    OrbExplanationHandle made = explained.get();
    EXPECT_EQ(OrbExplain(watcher.get(), InTree(L"b.txt").c_str(), &made), ORB_WRONG_STATE);
    EXPECT_EQ(made, nullptr);
}

TEST_F(Explanation, BadArgumentsAreRefused)
{
    const OrbExplanation answer = Explain(Write(L"c.txt"));
    OrbExplanationHandle made = nullptr;
    auto rule = Sized<OrbRule>();
    const std::wstring longer(ORB_LONGEST_TEXT + 1, L'x');
    EXPECT_EQ(OrbExplain(nullptr, L"C:\\a", &made), ORB_BAD_ARGUMENT);
    EXPECT_EQ(OrbExplain(watcher.get(), nullptr, &made), ORB_BAD_ARGUMENT);
    EXPECT_EQ(OrbExplain(watcher.get(), L"C:\\a", nullptr), ORB_BAD_ARGUMENT);
    EXPECT_EQ(OrbExplain(watcher.get(), longer.c_str(), &made), ORB_TEXT_TOO_LONG);
    EXPECT_EQ(OrbExplanationGet(explained.get(), nullptr), ORB_BAD_ARGUMENT);
    EXPECT_EQ(OrbExplanationPath(nullptr, nullptr, 0, nullptr), ORB_BAD_ARGUMENT);
    EXPECT_EQ(OrbExplanationRule(explained.get(), answer.rules, &rule), ORB_BAD_ARGUMENT);
    EXPECT_EQ(OrbExplanationRule(nullptr, 0, &rule), ORB_BAD_ARGUMENT);
    EXPECT_EQ(OrbExplanationRuleText(explained.get(), answer.rules, ORB_RULE_PATH, nullptr, 0, nullptr),
              ORB_BAD_ARGUMENT);
    EXPECT_EQ(OrbExplanationRuleText(explained.get(), 0, 4, nullptr, 0, nullptr), ORB_BAD_ARGUMENT);
    rule.size = 4;
    EXPECT_EQ(OrbExplanationRule(explained.get(), 0, &rule), ORB_BAD_SIZE);
    auto wrong = Sized<OrbExplanation>(sizeof(OrbExplanation) + 4);
    EXPECT_EQ(OrbExplanationGet(explained.get(), &wrong), ORB_BAD_SIZE);
    auto good = Sized<OrbExplanation>();
    EXPECT_EQ(OrbExplanationGet(nullptr, &good), ORB_BAD_ARGUMENT);
    OrbExplanationDestroy(nullptr);
}

} // namespace
