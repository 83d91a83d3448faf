// Where errors and elements are, for messages, and the attributes that no caller asks for by name.
#include "xml/Markup.h"

#include <gtest/gtest.h>

namespace
{

TextPlace ErrorPlace(const wchar_t* doc)
{
    CMarkup markup;
    EXPECT_FALSE(markup.SetDoc(doc));
    return markup.GetParseErrorPlace();
}

TEST(MarkupPlaces, AParseErrorHasThePlaceOfItsOffset)
{
    EXPECT_EQ(ErrorPlace(L"<a>\n  <b>\n </c>\n</a>"), (TextPlace{3, 2}));
    EXPECT_EQ(ErrorPlace(L"<a/>\n</b>"), (TextPlace{2, 1}));
    EXPECT_EQ(ErrorPlace(L"<a>\n  <b>"), (TextPlace{2, 3}));
    EXPECT_EQ(ErrorPlace(L"<a>\n <1 <"), (TextPlace{2, 5}));
    EXPECT_EQ(ErrorPlace(L"<a>\n<!-- "), (TextPlace{2, 1}));
    EXPECT_EQ(ErrorPlace(L"<a/>\n <b/>"), (TextPlace{2, 2}));
}

TEST(MarkupPlaces, AnErrorOfTheWholeDocumentAndAGoodOneHaveNone)
{
    EXPECT_EQ(ErrorPlace(L""), TextPlace());
    EXPECT_EQ(ErrorPlace(L"text"), TextPlace());
    CMarkup markup;
    ASSERT_FALSE(markup.SetDoc(L"<a>"));
    ASSERT_TRUE(markup.SetDoc(L"<a/>"));
    EXPECT_EQ(markup.GetParseErrorPlace(), TextPlace());
}

TEST(MarkupPlaces, AnElementHasAPlaceAlsoAfterEdits)
{
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc(L"<a>\n <b/>\n  <c/>\n</a>"));
    EXPECT_EQ(markup.GetElementPlace(), TextPlace());
    ASSERT_TRUE(markup.FindElement(L"a") && markup.EnterElement() && markup.FindElement(L"c"));
    EXPECT_EQ(markup.GetElementPlace(), (TextPlace{3, 3}));
    markup.ResetPosition();
    ASSERT_TRUE(markup.FindElement(L"a") && markup.EnterElement() && markup.FindElement(L"b"));
    EXPECT_EQ(markup.GetElementPlace(), (TextPlace{2, 2}));
    ASSERT_TRUE(markup.ReplaceElement(L"<x>\n\n</x>") && markup.FindElement(L"c"));
    EXPECT_EQ(markup.GetElementPlace(), (TextPlace{5, 3}));
}

TEST(MarkupPlaces, EveryElementOfALevelCanBeVisited)
{
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc(L"<a><b/>text<Item x='1'><inner/></Item><!-- --><b/></a>"));
    EXPECT_EQ(markup.GetElementName(), L"");
    ASSERT_TRUE(markup.NextElement());
    EXPECT_EQ(markup.GetElementName(), L"a");
    ASSERT_TRUE(markup.EnterElement());
    std::vector<std::wstring> names;
    while (markup.NextElement()) {
        names.emplace_back(markup.GetElementName());
        EXPECT_EQ(markup.HasChild(L"inner"), names.back() == L"Item");
        EXPECT_FALSE(markup.HasChild(L"inn"));
    }
    EXPECT_EQ(names, (std::vector<std::wstring>{L"b", L"Item", L"b"}));
    EXPECT_FALSE(markup.NextElement());
}

TEST(MarkupPlaces, TheAttributesOfAnElementCanBeListed)
{
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc(L"<a one='1' two='2' one='3'/>"));
    EXPECT_EQ(markup.CountAttributes(), 0u);
    ASSERT_TRUE(markup.NextElement());
    EXPECT_EQ(markup.CountAttributes(), 3u);
    EXPECT_EQ(markup.GetAttributeNames(), (std::vector<std::wstring_view>{L"one", L"two", L"one"}));
    EXPECT_TRUE(markup.HasQuotedAttributes());
    ASSERT_TRUE(markup.SetDoc(L"<a one=1 two='2'/>") && markup.NextElement());
    EXPECT_FALSE(markup.HasQuotedAttributes());
    EXPECT_FALSE(markup.IsAttributeQuoted(L"one"));
    EXPECT_TRUE(markup.IsAttributeQuoted(L"two"));
}

TEST(MarkupPlaces, AnAmpersandThatStaysAsItIsIsFoundByItsAttribute)
{
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc(L"<a one='R&amp;D &#65;' two='R&D' three='plain' four='&uuml;'/>"));
    EXPECT_TRUE(markup.GetAmpersandAttributes().empty());
    ASSERT_TRUE(markup.NextElement());
    EXPECT_EQ(markup.GetAmpersandAttributes(), (std::vector<std::wstring_view>{L"two", L"four"}));
    EXPECT_EQ(markup.GetAttribute(L"two"), L"R&D");
}

TEST(MarkupPlaces, TextsBesideTheElementsOfTheRootAreFoundAndNoOthers)
{
    using Where = CMarkup::StrayText::Where;
    CMarkup markup;
    ASSERT_TRUE(
        markup.SetDoc(L"first\n<a> \n <b>own</b>\n  second \nline<c/><!-- no --><![CDATA[third]]></a>\n\n fourth\n"));
    const std::vector<CMarkup::StrayText> texts = markup.GetStrayTexts();
    ASSERT_EQ(texts.size(), 4u);
    EXPECT_EQ(texts[0].place, (TextPlace{1, 1}));
    EXPECT_EQ(texts[0].line, L"first");
    EXPECT_EQ(texts[0].where, Where::BeforeRoot);
    EXPECT_EQ(texts[1].place, (TextPlace{4, 3}));
    EXPECT_EQ(texts[1].line, L"second");
    EXPECT_EQ(texts[1].where, Where::InRoot);
    EXPECT_EQ(texts[2].line.substr(0, 14), L"<![CDATA[third");
    EXPECT_EQ(texts[3].place, (TextPlace{7, 2}));
    EXPECT_EQ(texts[3].line, L"fourth");
    EXPECT_EQ(texts[3].where, Where::BehindRoot);
}

TEST(MarkupPlaces, ADocumentWithoutStrayTextsOrWithEditsHasNone)
{
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc(L"\n<a>\n<b>own<c/>text</b>\n</a>\n"));
    EXPECT_TRUE(markup.GetStrayTexts().empty());
    ASSERT_TRUE(markup.SetDoc(L"<a>stray<b/></a>"));
    EXPECT_EQ(markup.GetStrayTexts().size(), 1u);
    ASSERT_TRUE(markup.FindElement(L"a") && markup.EnterElement() && markup.AppendElement(L"c"));
    EXPECT_TRUE(markup.GetStrayTexts().empty());
    markup.GetDoc(); // joins the text again
    EXPECT_TRUE(markup.GetStrayTexts().empty());
}

} // namespace
