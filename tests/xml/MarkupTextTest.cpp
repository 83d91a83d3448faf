#include "xml/Markup.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

CMarkup AtRoot(const wchar_t* doc)
{
    CMarkup markup;
    EXPECT_TRUE(markup.SetDoc(doc));
    EXPECT_TRUE(markup.FindElement(L"a"));
    return markup;
}

TEST(MarkupAttribute, IsDecoded)
{
    const CMarkup markup = AtRoot(L"<a x='&lt;&#x41;&amp;' y='a &b; &#X41;'/>");
    EXPECT_EQ(markup.GetAttribute(L"x"), L"<A&");
    EXPECT_EQ(markup.GetAttribute(L"y"), L"a &b; &#X41;");
}

TEST(MarkupAttribute, ViewIsDecodedToo)
{
    const CMarkup markup = AtRoot(L"<a x='&lt;&#x41;&amp;' y='plain'/>");
    EXPECT_EQ(markup.GetAttributeView(L"x"), L"<A&");
    EXPECT_EQ(markup.GetAttributeView(L"y"), L"plain");
    EXPECT_EQ(markup.GetAttributeView(L"z"), L"");
}

TEST(MarkupAttribute, AbsentOneIsEmpty)
{
    const CMarkup markup = AtRoot(L"<a x='1' e=''/>");
    EXPECT_TRUE(markup.GetAttribute(L"y").IsEmpty());
    EXPECT_TRUE(markup.GetAttribute(L"e").IsEmpty());
    EXPECT_TRUE(markup.GetAttribute(L"").IsEmpty());
    EXPECT_TRUE(markup.GetAttribute(nullptr).IsEmpty());
}

TEST(MarkupAttribute, OrderOfAskingDoesNotMatter)
{
    const CMarkup markup = AtRoot(L"<a p='1' q='2' r='3'/>");
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(markup.GetAttribute(L"r"), L"3");
        EXPECT_EQ(markup.GetAttribute(L"p"), L"1");
        EXPECT_EQ(markup.GetAttribute(L"q"), L"2");
        EXPECT_EQ(markup.GetAttribute(L"q"), L"2");
    }
}

TEST(MarkupAttribute, BracketInAQuotedValueDoesNotEndTheTag)
{
    const CMarkup markup = AtRoot(L"<a x='1>2' y=\"/>\">t</a>");
    EXPECT_EQ(markup.GetAttribute(L"x"), L"1>2");
    EXPECT_EQ(markup.GetAttribute(L"y"), L"/>");
    EXPECT_EQ(markup.GetElementText(), L"t");
}

TEST(MarkupAttribute, MayBeAMegabyteLong)
{
    const std::wstring value(1 << 20, L'v');
    const CMarkup markup = AtRoot((L"<a x='" + value + L"' y='2'/>").c_str());
    EXPECT_EQ(markup.GetAttribute(L"x").View(), value);
    EXPECT_EQ(markup.GetAttribute(L"y"), L"2");
}

TEST(MarkupAttribute, KeepsLoneSurrogates)
{
    const std::wstring doc = std::wstring(L"<a x='") + wchar_t(0xD800) + L"z" + wchar_t(0xDC00) + L"'/>";
    const CMarkup markup = AtRoot(doc.c_str());
    EXPECT_EQ(markup.GetAttribute(L"x").View(), (std::wstring{0xD800, L'z', 0xDC00}));
}

TEST(MarkupElementText, IsTheDirectTextAndCDataJoined)
{
    EXPECT_EQ(AtRoot(L"<a> x <b>no</b>y<![CDATA[<&amp;>]]><!-- no --><?no no?>&lt;<a>no<a/></a>z</a>").GetElementText(),
              L" x y<&amp;><z");
}

TEST(MarkupElementText, IsEmptyWithoutText)
{
    EXPECT_TRUE(AtRoot(L"<a/>").GetElementText().IsEmpty());
    EXPECT_TRUE(AtRoot(L"<a></a>").GetElementText().IsEmpty());
    EXPECT_TRUE(AtRoot(L"<a><![CDATA[]]></a>").GetElementText().IsEmpty());
}

TEST(MarkupElementText, WhiteSpaceIsKept) { EXPECT_EQ(AtRoot(L"<a>\r\n\t<b/> </a>").GetElementText(), L"\r\n\t "); }

TEST(MarkupElementText, EntitiesDoNotReachAcrossSections)
{
    EXPECT_EQ(AtRoot(L"<a>&l<!-- -->t;&<![CDATA[lt;]]></a>").GetElementText(), L"&lt;&lt;");
}

TEST(MarkupElementMarkup, IsExactlyTheElement)
{
    EXPECT_EQ(AtRoot(L"\n<a x = '1' >\r\n<b/></a >\n").GetElementMarkup(), L"<a x = '1' >\r\n<b/></a >");
    EXPECT_EQ(AtRoot(L"<a />").GetElementMarkup(), L"<a />");
}

} // namespace
