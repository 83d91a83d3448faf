// The costs of operations, counted in units and elements that are visited or moved.
#include "xml/Markup.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

constexpr int kItems = 5000;
constexpr int kAttributes = 13;

std::wstring Items(int count)
{
    std::wstring doc = L"<Data>";
    for (int item = 0; item < count; ++item) {
        doc += L"<Item";
        for (int attribute = 0; attribute < kAttributes; ++attribute)
            doc += L" a" + std::to_wstring(attribute) + L"='" + std::to_wstring(item) + L"'";
        doc += L"/>";
    }
    return doc + L"</Data>";
}

class MarkupCostTest : public testing::Test
{
protected:
    void Enter(const std::wstring& doc)
    {
        m_length = doc.size();
        EXPECT_TRUE(m_markup.SetDoc(doc.c_str()));
        EXPECT_TRUE(m_markup.FindElement(L"Data"));
        EXPECT_TRUE(m_markup.EnterElement());
        m_before = m_markup.Work();
    }

    std::uint64_t Work() const { return m_markup.Work() - m_before; }

    void ReadAllAttributes(int first, int step)
    {
        while (m_markup.FindElement(L"Item"))
            for (int i = 0; i < kAttributes; ++i) {
                const int attribute = (first + i * step) % kAttributes;
                EXPECT_FALSE(m_markup.GetAttribute((L"a" + std::to_wstring(attribute)).c_str()).IsEmpty());
            }
    }

    CMarkup m_markup;
    std::size_t m_length = 0;
    std::uint64_t m_before = 0;
};

TEST_F(MarkupCostTest, ParsingLooksAtEveryUnitOnce)
{
    Enter(Items(kItems));
    EXPECT_LE(m_before, m_length + 2);
}

TEST_F(MarkupCostTest, ReadingAttributesInOrderReadsEveryTagOnce)
{
    Enter(Items(kItems));
    ReadAllAttributes(0, 1);
    EXPECT_LE(Work(), m_length + kItems);
}

TEST_F(MarkupCostTest, ReadingAttributesInAnyOrderCostsTheSame)
{
    Enter(Items(kItems));
    ReadAllAttributes(12, 5);
    EXPECT_LE(Work(), m_length + kItems);
}

TEST_F(MarkupCostTest, FindingAllSiblingsPassesEachOnce)
{
    Enter(Items(kItems));
    int found = 0;
    while (m_markup.FindElement(L"Item"))
        ++found;
    EXPECT_EQ(found, kItems);
    EXPECT_LE(Work(), std::uint64_t(kItems));
}

TEST_F(MarkupCostTest, AppendingIsLinear)
{
    Enter(L"<Data/>");
    for (int i = 0; i < kItems; ++i)
        ASSERT_TRUE(m_markup.AppendElement(L"item", L"0123456789"));
    EXPECT_LE(Work(), std::uint64_t(kItems) * 40);
    const auto length = static_cast<std::uint64_t>(m_markup.GetDoc().GetLength());
    EXPECT_EQ(length, std::uint64_t(kItems) * 23 + 13);
    EXPECT_LE(Work(), std::uint64_t(kItems) * 40 + length + 2 * kItems);
}

TEST_F(MarkupCostTest, AppendingWithoutACurrentElementIsLinear)
{
    Enter(L"<Data/>");
    for (int i = 0; i < kItems; ++i) {
        ASSERT_TRUE(m_markup.AppendElement(L"item", L"0123456789"));
        m_markup.ResetPosition();
        ASSERT_TRUE(m_markup.FindElement(L"Data"));
        ASSERT_TRUE(m_markup.EnterElement());
    }
    EXPECT_LE(Work(), std::uint64_t(kItems) * 40);
}

TEST_F(MarkupCostTest, MergingCostsTheRulesAndNotTheDocument)
{
    Enter(Items(kItems));
    const std::wstring rule = L"<Item a0='new'/>";
    int replaced = 0;
    for (int item = 0; m_markup.FindElement(L"Item"); ++item) {
        if (item % 5)
            continue;
        ASSERT_TRUE(m_markup.ReplaceElement(rule.c_str()));
        ++replaced;
    }
    EXPECT_EQ(replaced, kItems / 5);
    EXPECT_LE(Work(), kItems + replaced * (2 * rule.size() + 4));
    const auto beforeJoin = Work();
    (void)m_markup.GetDoc();
    EXPECT_LE(Work() - beforeJoin, m_length + 4 * kItems);
}

TEST_F(MarkupCostTest, ReadingWhatWasEditedDoesNotJoinTheWhole)
{
    Enter(Items(kItems));
    for (int i = 0; i < 1000; ++i) {
        ASSERT_TRUE(m_markup.InsertMarkup(L"<Item a0='1'>t<b/></Item>"));
        EXPECT_EQ(m_markup.GetElementText(), L"t");
        EXPECT_EQ(m_markup.GetAttribute(L"a0"), L"1");
        EXPECT_FALSE(m_markup.GetElementMarkup().IsEmpty());
    }
    EXPECT_LE(Work(), 1000u * 200);
}

} // namespace
