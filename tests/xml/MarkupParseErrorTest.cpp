#include "xml/Markup.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

std::wstring ErrorOf(const std::wstring& doc)
{
    CMarkup markup;
    const bool parsed = markup.SetDoc(CString(std::wstring_view(doc)));
    EXPECT_EQ(parsed, markup.GetParseError().IsEmpty());
    EXPECT_EQ(markup.GetResult(), markup.GetParseError());
    EXPECT_EQ(markup.GetDoc().View(), doc);
    return std::wstring(markup.GetParseError().View());
}

TEST(MarkupParseError, GoodDocumentsHaveNone)
{
    EXPECT_EQ(ErrorOf(L"<a/>"), L"");
    EXPECT_EQ(ErrorOf(L"<a></a>"), L"");
    EXPECT_EQ(ErrorOf(L"<?xml version=\"1.0\"?>\r\n<!-- c --><a b='1'>t<![CDATA[<x>]]><b /></a >\r\n"), L"");
    EXPECT_EQ(ErrorOf(L"<!DOCTYPE a [<!ELEMENT a (#PCDATA)> <!-- it's > --> <?p '> ?> <!ENTITY e '>'>]><a/>"), L"");
}

TEST(MarkupParseError, EndTagWithoutStartTag)
{
    // Without a root that fault is replaced by the one of the whole document.
    EXPECT_EQ(ErrorOf(L"</a>"), L"No root element");
    EXPECT_EQ(ErrorOf(L"<a/></b>"), L"No start tag for end tag 'b' at offset 4");
}

TEST(MarkupParseError, EndTagOfAnotherName)
{
    EXPECT_EQ(ErrorOf(L" <a><bc></d></a>"), L"End tag 'd' at offset 8 does not match start tag 'bc' at offset 4");
    EXPECT_EQ(ErrorOf(L"<ab></a>"), L"End tag 'a' at offset 4 does not match start tag 'ab' at offset 0");
    EXPECT_EQ(ErrorOf(L"<a></ab>"), L"End tag 'ab' at offset 3 does not match start tag 'a' at offset 0");
    EXPECT_EQ(ErrorOf(L"<a></A>"), L"End tag 'A' at offset 3 does not match start tag 'a' at offset 0");
}

TEST(MarkupParseError, InnermostElementThatIsNotEnded)
{
    EXPECT_EQ(ErrorOf(L"<a>"), L"Element 'a' at offset 0 not ended");
    EXPECT_EQ(ErrorOf(L"<a><b x='1'>"), L"Element 'b' at offset 3 not ended");
    EXPECT_EQ(ErrorOf(L"<a><b></b>"), L"Element 'a' at offset 0 not ended");
}

TEST(MarkupParseError, CharacterThatIsNoneOfATagName)
{
    EXPECT_EQ(ErrorOf(L"<a>1 < 2</a>"), L"Incorrect tag name character at offset 6");
    EXPECT_EQ(ErrorOf(L"<a><></a>"), L"Incorrect tag name character at offset 4");
    EXPECT_EQ(ErrorOf(L"<a><b=c></a>"), L"Incorrect tag name character at offset 5");
    EXPECT_EQ(ErrorOf(L"<a><b\\></a>"), L"Incorrect tag name character at offset 5");
    EXPECT_EQ(ErrorOf(L"<a></>"), L"Incorrect tag name character at offset 5");
    EXPECT_EQ(ErrorOf(L"<a></ a>"), L"Incorrect tag name character at offset 5");
    EXPECT_EQ(ErrorOf(L"<a></a b>"), L"Incorrect tag name character at offset 7");
    EXPECT_EQ(ErrorOf(L"<a><b <c/></a>"), L"Incorrect tag name character at offset 6");
}

TEST(MarkupParseError, DeclarationOfNoKnownKind)
{
    EXPECT_EQ(ErrorOf(L"<a><!x></a>"), L"Incorrect ! tag at offset 5");
    EXPECT_EQ(ErrorOf(L"<a><!DOG></a>"), L"Incorrect ! tag at offset 7");
    EXPECT_EQ(ErrorOf(L"<a><![cdata[x]]></a>"), L"Incorrect ! tag at offset 6");
}

TEST(MarkupParseError, MalformedCommentOpening)
{
    EXPECT_EQ(ErrorOf(L"<a><!-x--></a>"), L"Incorrect comment tag at offset 6");
}

TEST(MarkupParseError, ConstructsThatTheDocumentEndsInside)
{
    EXPECT_EQ(ErrorOf(L"<a><"), L"Element tag at offset 3 unterminated");
    EXPECT_EQ(ErrorOf(L"<a><b"), L"Element tag at offset 3 unterminated");
    EXPECT_EQ(ErrorOf(L"<a><b c='>"), L"Element tag at offset 3 unterminated");
    EXPECT_EQ(ErrorOf(L"<a><!"), L"Element tag at offset 3 unterminated");
    EXPECT_EQ(ErrorOf(L"<a></"), L"Element end tag at offset 3 unterminated");
    EXPECT_EQ(ErrorOf(L"<a></a "), L"Element end tag at offset 3 unterminated");
    EXPECT_EQ(ErrorOf(L"<a><![CD"), L"CDATA Section at offset 3 unterminated");
    EXPECT_EQ(ErrorOf(L"<a><![CDATA[x]]</a>"), L"CDATA Section at offset 3 unterminated");
    EXPECT_EQ(ErrorOf(L"<a><?p"), L"Processing instruction at offset 3 unterminated");
    EXPECT_EQ(ErrorOf(L"<a><?>"), L"Processing instruction at offset 3 unterminated");
    EXPECT_EQ(ErrorOf(L"<a><!-"), L"Comment at offset 3 unterminated");
    EXPECT_EQ(ErrorOf(L"<a><!--->"), L"Comment at offset 3 unterminated");
    EXPECT_EQ(ErrorOf(L"<a/><!DOCTYPE a [<!ELEMENT a>]"), L"Doctype at offset 4 unterminated");
    EXPECT_EQ(ErrorOf(L"<a/><!DOCTYPE a '>"), L"Doctype at offset 4 unterminated");
    EXPECT_EQ(ErrorOf(L"<a/><!DOCTYPE a <!-- >"), L"Doctype at offset 4 unterminated");
    EXPECT_EQ(ErrorOf(L"<a/><!DOC"), L"Doctype at offset 4 unterminated");
}

TEST(MarkupParseError, EmptyDocument) { EXPECT_EQ(ErrorOf(L""), L"Empty document"); }

TEST(MarkupParseError, NoRootElement)
{
    EXPECT_EQ(ErrorOf(L" \r\n"), L"No root element");
    EXPECT_EQ(ErrorOf(L"<?xml version='1.0'?><!-- <a/> -->"), L"No root element");
    EXPECT_EQ(ErrorOf(L"text"), L"No root element");
}

TEST(MarkupParseError, RootElementHasSibling)
{
    EXPECT_EQ(ErrorOf(L"<a/><b/>"), L"Root element has sibling");
    EXPECT_EQ(ErrorOf(L"<a></a>\n<a>x</a>"), L"Root element has sibling");
}

TEST(MarkupParseError, FaultsOfTheWholeReplaceThoseOfATag)
{
    EXPECT_EQ(ErrorOf(L"<a/><b>"), L"Root element has sibling");
    EXPECT_EQ(ErrorOf(L"<"), L"No root element");
}

TEST(MarkupParseError, NextGoodTextClearsIt)
{
    CMarkup markup;
    EXPECT_FALSE(markup.SetDoc(L"<a>"));
    EXPECT_TRUE(markup.SetDoc(L"<a/>"));
    EXPECT_TRUE(markup.GetParseError().IsEmpty());
    EXPECT_TRUE(markup.GetResult().IsEmpty());
}

} // namespace
