#include "xml/AttributeTable.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

AttributeTable Table(std::wstring_view head)
{
    AttributeTable table;
    table.Read(head);
    return table;
}

TEST(AttributeTable, ReadsBothKindsOfQuotes)
{
    const auto table = Table(L"<Item path=\"C:\\it's\" mask='say \"x\"'");
    EXPECT_EQ(table.Find(L"path").text, L"C:\\it's");
    EXPECT_EQ(table.Find(L"mask").text, L"say \"x\"");
    EXPECT_TRUE(table.IsWellFormed());
}

TEST(AttributeTable, NamesAreExact)
{
    const auto table = Table(L"<Item path='1' Path='2' paths='3'");
    EXPECT_EQ(table.Find(L"path").text, L"1");
    EXPECT_EQ(table.Find(L"Path").text, L"2");
    EXPECT_EQ(table.Find(L"paths").text, L"3");
    EXPECT_EQ(table.Find(L"pat").text, L"");
    EXPECT_EQ(table.Find(L"").text, L"");
}

TEST(AttributeTable, NamesInValuesAreNoAttributes)
{
    const auto table = Table(L"<Item a=\" path='no' \" b='path=\"no\"'");
    EXPECT_EQ(table.Find(L"path").text, L"");
    EXPECT_EQ(table.Find(L"a").text, L" path='no' ");
}

TEST(AttributeTable, SpaceAroundTheEqualSignIsAllowed)
{
    const auto table = Table(L"<Item\r\n\ta \t=\n'1'\r\n b='2' ");
    EXPECT_EQ(table.Find(L"a").text, L"1");
    EXPECT_EQ(table.Find(L"b").text, L"2");
    EXPECT_TRUE(table.IsWellFormed());
}

TEST(AttributeTable, ElementWithoutAttributesIsWellFormed)
{
    EXPECT_TRUE(Table(L"<Item").IsWellFormed());
    EXPECT_TRUE(Table(L"<Item ").IsWellFormed());
    EXPECT_EQ(Table(L"<Item").Find(L"Item").text, L"");
}

TEST(AttributeTable, OfTwinsTheFirstCountsWhateverWasAskedBefore)
{
    const auto table = Table(L"<Item a='1' b='2' a='3'");
    EXPECT_EQ(table.Find(L"a").text, L"1");
    EXPECT_EQ(table.Find(L"b").text, L"2");
    EXPECT_EQ(table.Find(L"a").text, L"1");
    EXPECT_FALSE(table.IsWellFormed());
}

TEST(AttributeTable, ManyAttributesAreAllFound)
{
    std::wstring head = L"<Item";
    for (int i = 99; i >= 0; --i)
        head += L" a" + std::to_wstring(i) + L"='" + std::to_wstring(i) + L"'";
    const auto table = Table(head);
    EXPECT_TRUE(table.IsWellFormed());
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(table.Find(L"a" + std::to_wstring(i)).text, std::to_wstring(i));
    EXPECT_EQ(table.Find(L"a100").text, L"");
    const std::wstring twice = head + L" a50='second'"; // the table holds views of it
    const auto twins = Table(twice);
    EXPECT_EQ(twins.Find(L"a50").text, L"50");
    EXPECT_FALSE(twins.IsWellFormed());
}

TEST(AttributeTable, ReadsWhatItCanOfMalformedTags)
{
    const auto table = Table(L"<Item bare x=1 =3 'stray' a='1'b='2' last='open");
    EXPECT_FALSE(table.IsWellFormed());
    EXPECT_EQ(table.Find(L"bare").text, L"");
    EXPECT_EQ(table.Find(L"x").text, L"1");
    EXPECT_EQ(table.Find(L"a").text, L"1");
    EXPECT_EQ(table.Find(L"b").text, L"2");
    EXPECT_EQ(table.Find(L"last").text, L"open");
}

TEST(AttributeTable, EachFaultAloneIsNoticed)
{
    for (const wchar_t* head : {L"<a b", L"<a b=", L"<a b=c", L"<a b='1'c='2'", L"<a /", L"<a / b='1'", L"<a ='1'",
                                L"<a ?", L"<a b='1' \"x\""})
        EXPECT_FALSE(Table(head).IsWellFormed()) << testing::PrintToString(std::wstring(head));
}

TEST(AttributeTable, IsUsedAgainForTheNextTag)
{
    auto table = Table(L"<a b='1' b='2'");
    table.Read(L"<a c='3'");
    EXPECT_EQ(table.Find(L"b").text, L"");
    EXPECT_EQ(table.Find(L"c").text, L"3");
    EXPECT_TRUE(table.IsWellFormed());
}

TEST(AttributeTable, KnowsWhichValuesHoldReferences)
{
    const AttributeTable table = Table(L"<Item a=\"x&amp;y\" b=\"xy\" c=x&y");
    EXPECT_FALSE(table.Find(L"a").plain);
    EXPECT_TRUE(table.Find(L"b").plain);
    EXPECT_FALSE(table.Find(L"c").plain);
}

} // namespace
