#include "xml/Markup.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace
{

TEST(MarkupNavigation, FindsTheRootFromTheTop)
{
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc(L"<?xml version='1.0'?><Data/>"));
    EXPECT_FALSE(markup.FindElement(L"Item"));
    EXPECT_TRUE(markup.FindElement(L"Data"));
    EXPECT_FALSE(markup.FindElement(L"Data"));
    markup.ResetPosition();
    EXPECT_TRUE(markup.FindElement(L"Data"));
}

TEST(MarkupNavigation, EmptyDocumentHasNothingToFind)
{
    CMarkup markup;
    EXPECT_FALSE(markup.FindElement(L"a"));
    EXPECT_FALSE(markup.SetDoc(L""));
    EXPECT_FALSE(markup.FindElement(L"a"));
    EXPECT_FALSE(markup.EnterElement());
    EXPECT_FALSE(markup.LeaveElement());
    EXPECT_TRUE(markup.GetAttribute(L"a").IsEmpty());
    EXPECT_TRUE(markup.GetElementText().IsEmpty());
    EXPECT_TRUE(markup.GetElementMarkup().IsEmpty());
    EXPECT_TRUE(markup.GetDoc().IsEmpty());
}

TEST(MarkupNavigation, FindsChildrenByExactName)
{
    CMarkup markup;
    ASSERT_TRUE(
        markup.SetDoc(L"<Data><item n='0'/><Item n='1'><Item n='in'/></Item><Items n='2'/><Item\tn='3'/></Data>"));
    ASSERT_TRUE(markup.FindElement(L"Data"));
    ASSERT_TRUE(markup.EnterElement());
    ASSERT_TRUE(markup.FindElement(L"Item"));
    EXPECT_EQ(markup.GetAttribute(L"n"), L"1");
    ASSERT_TRUE(markup.FindElement(L"Item"));
    EXPECT_EQ(markup.GetAttribute(L"n"), L"3");
    EXPECT_FALSE(markup.FindElement(L"Item"));
    EXPECT_EQ(markup.GetAttribute(L"n"), L"3") << "a failed search leaves the cursor";
    EXPECT_FALSE(markup.FindElement(L""));
    EXPECT_FALSE(markup.FindElement(nullptr));
}

TEST(MarkupNavigation, EntersOnlyAnElement)
{
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc(L"<a><b/></a>"));
    EXPECT_FALSE(markup.EnterElement());
    ASSERT_TRUE(markup.FindElement(L"a"));
    EXPECT_TRUE(markup.EnterElement());
    EXPECT_FALSE(markup.EnterElement()) << "there is no current element yet";
    ASSERT_TRUE(markup.FindElement(L"b"));
    EXPECT_TRUE(markup.EnterElement());
    EXPECT_FALSE(markup.FindElement(L"b"));
}

TEST(MarkupNavigation, LeavingMakesTheParentCurrentAndRemembersTheChild)
{
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc(L"<a><b n='1'/><b n='2'/><b n='3'/></a>"));
    ASSERT_TRUE(markup.FindElement(L"a"));
    ASSERT_TRUE(markup.EnterElement());
    ASSERT_TRUE(markup.FindElement(L"b"));
    ASSERT_TRUE(markup.FindElement(L"b"));
    ASSERT_TRUE(markup.LeaveElement());
    EXPECT_FALSE(markup.FindElement(L"a")) << "the root is current, and has no sibling";
    ASSERT_TRUE(markup.EnterElement());
    EXPECT_EQ(markup.GetAttribute(L"n"), L"2");
    ASSERT_TRUE(markup.FindElement(L"b"));
    EXPECT_EQ(markup.GetAttribute(L"n"), L"3");
    ASSERT_TRUE(markup.LeaveElement());
    EXPECT_FALSE(markup.LeaveElement());
}

TEST(MarkupNavigation, FindingForgetsTheRememberedChild)
{
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc(L"<a><b><c n='1'/></b><b><c n='2'/></b></a>"));
    ASSERT_TRUE(markup.FindElement(L"a"));
    ASSERT_TRUE(markup.EnterElement());
    for (const wchar_t* number : {L"1", L"2"}) {
        ASSERT_TRUE(markup.FindElement(L"b"));
        ASSERT_TRUE(markup.EnterElement());
        ASSERT_TRUE(markup.FindElement(L"c"));
        EXPECT_EQ(markup.GetAttribute(L"n"), number);
        ASSERT_TRUE(markup.LeaveElement());
    }
}

TEST(MarkupNavigation, PartlyIndexedDocumentCanBeReadUpToItsError)
{
    CMarkup markup;
    EXPECT_FALSE(markup.SetDoc(L"<Data><Item n='1'>one</Item><Item n='2'>two</Wrong><Item n='3'/></Data>"));
    ASSERT_TRUE(markup.FindElement(L"Data"));
    ASSERT_TRUE(markup.EnterElement());
    ASSERT_TRUE(markup.FindElement(L"Item"));
    EXPECT_EQ(markup.GetElementText(), L"one");
    ASSERT_TRUE(markup.FindElement(L"Item"));
    EXPECT_EQ(markup.GetAttribute(L"n"), L"2");
    EXPECT_EQ(markup.GetElementText(), L"two");
    EXPECT_EQ(markup.GetElementMarkup(), L"<Item n='2'>two");
    EXPECT_FALSE(markup.FindElement(L"Item"));
    ASSERT_TRUE(markup.LeaveElement());
    EXPECT_EQ(markup.GetElementMarkup(), L"<Data><Item n='1'>one</Item><Item n='2'>two");
}

TEST(MarkupNavigation, SiblingsOfTheRootAreReachable)
{
    CMarkup markup;
    EXPECT_FALSE(markup.SetDoc(L"<a/><b/>"));
    EXPECT_TRUE(markup.FindElement(L"a"));
    EXPECT_TRUE(markup.FindElement(L"b"));
}

TEST(MarkupNavigation, DepthCostsNoStack)
{
    constexpr int depth = 100000;
    std::wstring doc;
    for (int i = 0; i < depth; ++i)
        doc += L"<a>";
    doc += L"x";
    for (int i = 0; i < depth; ++i)
        doc += L"</a>";
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc(doc.c_str()));
    for (int i = 0; i < depth; ++i) {
        ASSERT_TRUE(markup.FindElement(L"a"));
        if (i + 1 < depth) {
            ASSERT_TRUE(markup.EnterElement());
        }
    }
    EXPECT_EQ(markup.GetElementText(), L"x");
    ASSERT_TRUE(markup.AppendElement(L"b"));
    for (int i = 0; i + 1 < depth; ++i)
        ASSERT_TRUE(markup.LeaveElement());
    EXPECT_FALSE(markup.LeaveElement());
    EXPECT_EQ(markup.GetElementText(), L"");
    ASSERT_TRUE(markup.RemoveElement());
    EXPECT_TRUE(markup.GetDoc().IsEmpty());
}

TEST(MarkupNavigation, DepthWithoutEndTagsIsAnErrorOnly)
{
    std::wstring doc;
    for (int i = 0; i < 100000; ++i)
        doc += L"<a>";
    CMarkup markup;
    EXPECT_FALSE(markup.SetDoc(doc.c_str()));
    EXPECT_EQ(markup.GetParseError(), L"Element 'a' at offset 299997 not ended");
}

TEST(MarkupNavigation, DocumentsMoveWithTheirCursor)
{
    CMarkup first;
    ASSERT_TRUE(first.SetDoc(L"<a n='1'/>"));
    ASSERT_TRUE(first.FindElement(L"a"));
    CMarkup second(std::move(first));
    EXPECT_EQ(second.GetAttribute(L"n"), L"1");
    first = std::move(second);
    EXPECT_EQ(first.GetAttribute(L"n"), L"1");
}

// Every element is visited and read in every way; the visit ends.
void ReadEverything(CMarkup& markup)
{
    std::size_t entered = 0;
    for (;;) {
        if (markup.FindElement(L"a") || markup.FindElement(L"b")) {
            (void)markup.GetAttribute(L"x");
            (void)markup.GetElementText();
            (void)markup.GetElementMarkup();
            ASSERT_TRUE(markup.EnterElement());
            ++entered;
        } else if (!markup.LeaveElement()) {
            break;
        }
    }
    EXPECT_LE(entered, 10u);
}

TEST(MarkupNavigation, SampleCutAtEveryUnitIsReadWithoutHarm)
{
    const std::wstring sample =
        L"<?xml version='1.0'?><!DOCTYPE a [<!ENTITY e \"'\">]><!-- c --><a x='&lt;&#65;'>t&amp;"
        L"<b x=\"1\" y='2'/><![CDATA[<b>]]><a>u<b>v</b></a ><?p i?></a>\r\n";
    CMarkup markup;
    ASSERT_TRUE(markup.SetDoc(sample.c_str()));
    for (std::size_t length = 0; length <= sample.size(); ++length) {
        const std::wstring cut = sample.substr(0, length);
        // The white space behind the root is the only part it can do without.
        EXPECT_EQ(markup.SetDoc(cut.c_str()), length + 2 >= sample.size()) << length;
        EXPECT_EQ(markup.GetDoc().View(), cut);
        ReadEverything(markup);
    }
}

TEST(MarkupNavigation, SampleWithEveryUnitReplacedIsReadWithoutHarm)
{
    const std::wstring sample = L"<a x='1' b=\"2\"><b/>t<!-- c --><![CDATA[d]]><?p?></a>";
    CMarkup markup;
    for (const wchar_t unit : {L'<', L'>', L'\'', L'"', L'/', L'!', L'?', L'=', L'&', L' ', wchar_t(0xD800)})
        for (std::size_t at = 0; at < sample.size(); ++at) {
            std::wstring changed = sample;
            changed[at] = unit;
            markup.SetDoc(changed.c_str());
            ReadEverything(markup);
        }
}

TEST(MarkupNavigation, WhatIsNoNameNamesNoElement)
{
    CMarkup document;
    ASSERT_TRUE(document.SetDoc(L"<r><a b=\"1\"/><a/></r>"));
    ASSERT_TRUE(document.FindElement(L"r") && document.EnterElement());
    for (const wchar_t* name : {L"a b", L"a b=\"1\"", L"a ", L"a/", L""}) {
        document.ResetPosition();
        ASSERT_TRUE(document.FindElement(L"r") && document.EnterElement());
        EXPECT_FALSE(document.FindElement(name)) << CString(name).GetLength();
    }
}

} // namespace
