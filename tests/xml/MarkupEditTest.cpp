#include "xml/Markup.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace
{

CMarkup Parsed(const wchar_t* doc)
{
    CMarkup markup;
    EXPECT_TRUE(markup.SetDoc(doc));
    return markup;
}

CMarkup Inside(const wchar_t* doc)
{
    CMarkup markup = Parsed(doc);
    EXPECT_TRUE(markup.FindElement(L"Data"));
    EXPECT_TRUE(markup.EnterElement());
    return markup;
}

// The index must say of the edited document what a new parse says. All elements
// are named alike here, as only names can be walked.
void Describe(CMarkup& markup, std::wstring& out)
{
    markup.ResetPosition();
    for (;;) {
        if (markup.FindElement(L"n")) {
            out += L"[" + std::wstring(markup.GetAttribute(L"id").View()) + L"|" +
                   std::wstring(markup.GetElementText().View()) + L"|" +
                   std::wstring(markup.GetElementMarkup().View()) + L"]";
            EXPECT_TRUE(markup.EnterElement());
        } else if (markup.LeaveElement()) {
            out += L"^";
        } else {
            return;
        }
    }
}

void ExpectIndexIsRight(CMarkup& markup)
{
    std::wstring inPieces;
    Describe(markup, inPieces);
    const CString doc = markup.GetDoc();
    std::wstring flattened;
    Describe(markup, flattened);
    CMarkup again;
    again.SetDoc(doc);
    std::wstring parsed;
    Describe(again, parsed);
    EXPECT_EQ(inPieces, parsed);
    EXPECT_EQ(flattened, parsed);
}

TEST(MarkupAppend, BuildsADocumentFromNothing)
{
    CMarkup markup;
    ASSERT_TRUE(markup.AppendElement(L"root"));
    EXPECT_EQ(markup.GetDoc(), L"<root/>");
    ASSERT_TRUE(markup.EnterElement());
    ASSERT_TRUE(markup.AppendElement(L"item", L"C:\\a & <b>'\""));
    ASSERT_TRUE(markup.AppendElement(L"item", L"two"));
    ASSERT_TRUE(markup.AppendElement(L"count", L"2"));
    ASSERT_TRUE(markup.LeaveElement());
    EXPECT_EQ(markup.GetDoc(), L"<root><item>C:\\a &amp; &lt;b&gt;'\"</item><item>two</item><count>2</count></root>");
    ASSERT_TRUE(markup.EnterElement());
    EXPECT_EQ(markup.GetElementText(), L"2");
}

TEST(MarkupAppend, EmptyOrNullTextWritesAnEmptyElement)
{
    CMarkup markup = Inside(L"<Data/>");
    EXPECT_TRUE(markup.AppendElement(L"a"));
    EXPECT_TRUE(markup.AppendElement(L"b", L""));
    EXPECT_TRUE(markup.AppendElement(L"c", nullptr));
    EXPECT_EQ(markup.GetDoc(), L"<Data><a/><b/><c/></Data>");
}

TEST(MarkupAppend, FollowsTheCurrentElement)
{
    CMarkup markup = Inside(L"<Data>\n <a/>\n <b/>\n</Data>\n");
    ASSERT_TRUE(markup.FindElement(L"a"));
    ASSERT_TRUE(markup.AppendElement(L"x", L"1"));
    ASSERT_TRUE(markup.AppendElement(L"y"));
    EXPECT_EQ(markup.GetDoc(), L"<Data>\n <a/><x>1</x><y/>\n <b/>\n</Data>\n");
    EXPECT_TRUE(markup.FindElement(L"b"));
}

TEST(MarkupAppend, WithoutACurrentElementFollowsTheLastChild)
{
    CMarkup markup = Inside(L"<Data>\n <a/>\n</Data>\n");
    ASSERT_TRUE(markup.AppendElement(L"x"));
    EXPECT_EQ(markup.GetDoc(), L"<Data>\n <a/><x/>\n</Data>\n");
}

TEST(MarkupAppend, IntoAParentWithTextStandsBeforeTheEndTag)
{
    CMarkup markup = Inside(L"<Data>text<!-- </Data> --></Data >");
    ASSERT_TRUE(markup.AppendElement(L"x"));
    EXPECT_EQ(markup.GetDoc(), L"<Data>text<!-- </Data> --><x/></Data >");
    ASSERT_TRUE(markup.LeaveElement());
    EXPECT_EQ(markup.GetElementText(), L"text");
}

TEST(MarkupAppend, OpensAnEmptyParentAndKeepsItsAttributes)
{
    CMarkup markup = Inside(L"<!-- c --><Data x='/>' y='2' />\n");
    ASSERT_TRUE(markup.AppendElement(L"a", L"1"));
    ASSERT_TRUE(markup.AppendElement(L"b"));
    ASSERT_TRUE(markup.LeaveElement());
    EXPECT_EQ(markup.GetElementMarkup(), L"<Data x='/>' y='2' ><a>1</a><b/></Data>");
    EXPECT_EQ(markup.GetAttribute(L"y"), L"2");
    EXPECT_EQ(markup.GetDoc(), L"<!-- c --><Data x='/>' y='2' ><a>1</a><b/></Data>\n");
    EXPECT_EQ(markup.GetAttribute(L"x"), L"/>");
}

TEST(MarkupAppend, ARootFollowsTheProlog)
{
    CMarkup markup;
    EXPECT_FALSE(markup.SetDoc(L"<?xml version='1.0'?>\n"));
    ASSERT_TRUE(markup.AppendElement(L"root"));
    EXPECT_EQ(markup.GetDoc(), L"<?xml version='1.0'?>\n<root/>");
}

TEST(MarkupAppend, RefusesASecondRoot)
{
    CMarkup markup = Parsed(L"<Data/>");
    EXPECT_FALSE(markup.AppendElement(L"x"));
    ASSERT_TRUE(markup.FindElement(L"Data"));
    EXPECT_FALSE(markup.AppendElement(L"x"));
    EXPECT_FALSE(markup.InsertMarkup(L"<x/>"));
    EXPECT_EQ(markup.GetDoc(), L"<Data/>");
}

TEST(MarkupAppend, RefusesWhatIsNoName)
{
    CMarkup markup = Inside(L"<Data/>");
    for (const wchar_t* name : {L"", L"a b", L"a>", L"<a", L"a=", L"a/", L"a'", L"a\"", L"a&", L"?a", L"!a", L"a\\"})
        EXPECT_FALSE(markup.AppendElement(name, L"x"));
    EXPECT_FALSE(markup.AppendElement(nullptr, L"x"));
    EXPECT_EQ(markup.GetDoc(), L"<Data/>");
}

TEST(MarkupEdit, IsRefusedWhereATagWasWrong)
{
    CMarkup markup;
    EXPECT_FALSE(markup.SetDoc(L"<Data><a/>"));
    ASSERT_TRUE(markup.FindElement(L"Data"));
    EXPECT_FALSE(markup.RemoveElement());
    ASSERT_TRUE(markup.EnterElement());
    EXPECT_FALSE(markup.AppendElement(L"x"));
    EXPECT_FALSE(markup.InsertMarkup(L"<x/>"));
    EXPECT_EQ(markup.GetDoc(), L"<Data><a/>");
}

TEST(MarkupEdit, IsRefusedWhereALeftOverSlashWouldCloseTheParent)
{
    for (const wchar_t* doc : {L"<Data x='1'//>", L"<Data //>", L"<Data x=http://host//>", L"<Data///>"}) {
        CMarkup markup = Inside(doc);
        EXPECT_FALSE(markup.AppendElement(L"b"));
        EXPECT_FALSE(markup.InsertMarkup(L"<b/>"));
        EXPECT_EQ(markup.GetDoc(), doc);
    }
    for (const wchar_t* doc : {L"<Data x='/'/>", L"<Data / />", L"<Data x=http://host/>"}) {
        CMarkup markup = Inside(doc);
        EXPECT_TRUE(markup.AppendElement(L"b"));
        CMarkup again = Inside(markup.GetDoc());
        EXPECT_TRUE(again.FindElement(L"b"));
    }
}

TEST(MarkupInsert, TakesAWholeElement)
{
    CMarkup markup = Inside(L"<Data><a/>\r\n<c/></Data>");
    ASSERT_TRUE(markup.FindElement(L"a"));
    ASSERT_TRUE(markup.InsertMarkup(L" \r\n<b x='1&amp;2'>t<in y='2'/><![CDATA[]]></b>\t"));
    EXPECT_EQ(markup.GetAttribute(L"x"), L"1&2");
    EXPECT_EQ(markup.GetElementText(), L"t");
    ASSERT_TRUE(markup.EnterElement());
    ASSERT_TRUE(markup.FindElement(L"in"));
    EXPECT_EQ(markup.GetAttribute(L"y"), L"2");
    ASSERT_TRUE(markup.LeaveElement());
    EXPECT_TRUE(markup.FindElement(L"c"));
    EXPECT_EQ(markup.GetDoc(), L"<Data><a/><b x='1&amp;2'>t<in y='2'/><![CDATA[]]></b>\r\n<c/></Data>");
}

TEST(MarkupInsert, OpensAnEmptyParent)
{
    CMarkup markup = Inside(L"<Data/>");
    ASSERT_TRUE(markup.InsertMarkup(L"<a/>"));
    ASSERT_TRUE(markup.EnterElement());
    ASSERT_TRUE(markup.InsertMarkup(L"<b/>"));
    ASSERT_TRUE(markup.EnterElement());
    ASSERT_TRUE(markup.InsertMarkup(L"<c>1</c>"));
    EXPECT_EQ(markup.GetDoc(), L"<Data><a><b><c>1</c></b></a></Data>");
}

TEST(MarkupInsert, RefusesEverythingElseAndChangesNothing)
{
    const wchar_t* const refused[] = {
        L"",
        L"  ",
        L"text",
        L"<a/>text",
        L"text<a/>",
        L"<a/><b/>",
        L"<a>",
        L"</a>",
        L"<a></b>",
        L"<a",
        L"<a x='1>",
        L"<!-- c -->",
        L"<!-- --><a/>",
        L"<a/><!-- -->",
        L"<?xml?><a/>",
        L"<a><b></a>",
        L"<a/></Data>",
        L"</Data><a/><Data>",
        L"<a x=1/>",
        L"<a x/>",
        L"<a x='1'y='2'/>",
        L"<a x='1' x='2'/>",
        L"<a><b x=1/></a>",
        L"<![CDATA[x]]>",
    };
    CMarkup markup = Inside(L"<Data><Item n='1'/></Data>");
    ASSERT_TRUE(markup.FindElement(L"Item"));
    ASSERT_TRUE(markup.InsertMarkup(L"<Item n='2'/>"));
    for (const wchar_t* text : refused) {
        EXPECT_FALSE(markup.InsertMarkup(text)) << testing::PrintToString(std::wstring(text));
        EXPECT_EQ(markup.GetAttribute(L"n"), L"2") << "the cursor stays";
    }
    EXPECT_FALSE(markup.InsertMarkup(nullptr));
    EXPECT_FALSE(markup.FindElement(L"Item"));
    EXPECT_TRUE(markup.InsertMarkup(L"<Item n='3'/>"));
    EXPECT_EQ(markup.GetDoc(), L"<Data><Item n='1'/><Item n='2'/><Item n='3'/></Data>");
}

TEST(MarkupInsert, RefusedTextOpensNoEmptyParent)
{
    CMarkup markup = Inside(L"<Data/>");
    EXPECT_FALSE(markup.InsertMarkup(L"<a>"));
    EXPECT_EQ(markup.GetDoc(), L"<Data/>");
}

TEST(MarkupInsert, TakesAnElementOfItsOwnDocument)
{
    CMarkup markup = Inside(L"<Data><a>1</a></Data>");
    ASSERT_TRUE(markup.FindElement(L"a"));
    ASSERT_TRUE(markup.InsertMarkup(markup.GetElementMarkup()));
    EXPECT_EQ(markup.GetDoc(), L"<Data><a>1</a><a>1</a></Data>");
}

TEST(MarkupRemove, LeavesEverythingElseAsItIs)
{
    CMarkup markup = Inside(L"<Data>\n <a/>t\n <b>x<c/></b>\n <d/>\n</Data>");
    ASSERT_TRUE(markup.FindElement(L"b"));
    ASSERT_TRUE(markup.RemoveElement());
    EXPECT_EQ(markup.GetElementMarkup(), L"<a/>") << "what stood before is current";
    ASSERT_TRUE(markup.FindElement(L"d"));
    EXPECT_EQ(markup.GetDoc(), L"<Data>\n <a/>t\n \n <d/>\n</Data>");
}

TEST(MarkupRemove, OfTheFirstChildLeavesNoneCurrent)
{
    CMarkup markup = Inside(L"<Data><a/><b/></Data>");
    ASSERT_TRUE(markup.FindElement(L"a"));
    ASSERT_TRUE(markup.RemoveElement());
    EXPECT_FALSE(markup.RemoveElement());
    EXPECT_FALSE(markup.EnterElement());
    ASSERT_TRUE(markup.FindElement(L"b"));
    ASSERT_TRUE(markup.RemoveElement());
    EXPECT_EQ(markup.GetDoc(), L"<Data></Data>");
    ASSERT_TRUE(markup.AppendElement(L"c"));
    EXPECT_EQ(markup.GetDoc(), L"<Data><c/></Data>");
}

TEST(MarkupRemove, ThenInsertPutsTheNewOneInItsPlace)
{
    CMarkup markup = Inside(L"<Data><a/><Item path='x' flags='1'/><b/></Data>");
    ASSERT_TRUE(markup.FindElement(L"Item"));
    ASSERT_TRUE(markup.RemoveElement());
    ASSERT_TRUE(markup.InsertMarkup(L"<Item path='x' flags='2'/>"));
    EXPECT_EQ(markup.GetDoc(), L"<Data><a/><Item path='x' flags='2'/><b/></Data>");
}

TEST(MarkupReplace, PutsTheNewOneInTheOldOnesPlaceAlsoAsFirstChild)
{
    CMarkup markup = Inside(L"<Data>\n <Item n='1'>x<y/></Item>\n <Item n='2'/>\n</Data>");
    ASSERT_TRUE(markup.FindElement(L"Item"));
    ASSERT_TRUE(markup.ReplaceElement(L" <Item n='3'/> "));
    EXPECT_EQ(markup.GetAttribute(L"n"), L"3");
    ASSERT_TRUE(markup.FindElement(L"Item"));
    EXPECT_EQ(markup.GetAttribute(L"n"), L"2");
    ASSERT_TRUE(markup.ReplaceElement(L"<Item n='4'/>"));
    EXPECT_FALSE(markup.FindElement(L"Item"));
    EXPECT_EQ(markup.GetDoc(), L"<Data>\n <Item n='3'/>\n <Item n='4'/>\n</Data>");
}

TEST(MarkupReplace, MalformedTextKeepsTheOldElement)
{
    CMarkup markup = Inside(L"<Data><Item n='1'/></Data>");
    EXPECT_FALSE(markup.ReplaceElement(L"<Item/>")) << "there is no current element";
    ASSERT_TRUE(markup.FindElement(L"Item"));
    EXPECT_FALSE(markup.ReplaceElement(L"<Item>"));
    EXPECT_EQ(markup.GetAttribute(L"n"), L"1");
    ASSERT_TRUE(markup.LeaveElement());
    EXPECT_FALSE(markup.ReplaceElement(L"<Data/>")) << "it is the root";
    EXPECT_EQ(markup.GetDoc(), L"<Data><Item n='1'/></Data>");
}

TEST(MarkupRemove, OfTheRootAllowsAnother)
{
    CMarkup markup = Parsed(L"<?p?><a><b/></a>\n");
    ASSERT_TRUE(markup.FindElement(L"a"));
    ASSERT_TRUE(markup.RemoveElement());
    EXPECT_FALSE(markup.FindElement(L"a"));
    ASSERT_TRUE(markup.AppendElement(L"c"));
    EXPECT_EQ(markup.GetDoc(), L"<?p?>\n<c/>");
}

TEST(MarkupRemove, OfAnElementThatWasEditedTakesTheEditsToo)
{
    CMarkup markup = Inside(L"<Data><a/><b/></Data>");
    ASSERT_TRUE(markup.FindElement(L"a"));
    ASSERT_TRUE(markup.EnterElement());
    ASSERT_TRUE(markup.AppendElement(L"x", L"1"));
    ASSERT_TRUE(markup.AppendElement(L"y", L"2"));
    ASSERT_TRUE(markup.LeaveElement());
    EXPECT_EQ(markup.GetElementMarkup(), L"<a><x>1</x><y>2</y></a>");
    ASSERT_TRUE(markup.RemoveElement());
    EXPECT_EQ(markup.GetDoc(), L"<Data><b/></Data>");
}

TEST(MarkupEdit, CursorSurvivesTheJoiningOfTheText)
{
    CMarkup markup = Inside(L"<Data><n id='1'>one</n><n id='2'>two</n></Data>");
    ASSERT_TRUE(markup.FindElement(L"n"));
    ASSERT_TRUE(markup.InsertMarkup(L"<n id='3'>three</n>"));
    EXPECT_EQ(markup.GetAttribute(L"id"), L"3");
    (void)markup.GetDoc();
    EXPECT_EQ(markup.GetAttribute(L"id"), L"3");
    EXPECT_EQ(markup.GetElementText(), L"three");
    ASSERT_TRUE(markup.FindElement(L"n"));
    EXPECT_EQ(markup.GetElementText(), L"two");
}

TEST(MarkupEdit, AttributesStayRightWhileTheAddedTextMoves)
{
    CMarkup markup = Inside(L"<Data/>");
    ASSERT_TRUE(markup.InsertMarkup(L"<n id='1'/>"));
    EXPECT_EQ(markup.GetAttribute(L"id"), L"1");
    EXPECT_FALSE(markup.InsertMarkup((L"<n id='" + std::wstring(100000, L'x') + L"'>").c_str()));
    EXPECT_EQ(markup.GetAttribute(L"id"), L"1");
}

TEST(MarkupEdit, OwnTextCanBeSetAgain)
{
    CMarkup markup = Inside(L"<Data/>");
    ASSERT_TRUE(markup.AppendElement(L"a"));
    EXPECT_TRUE(markup.SetDoc(markup.GetDoc()));
    EXPECT_TRUE(markup.SetDoc(markup.GetDoc().GetString()));
    EXPECT_EQ(markup.GetDoc(), L"<Data><a/></Data>");
}

// One random step; the same seed gives the same steps everywhere.
void EditSomewhere(CMarkup& markup, std::mt19937& random, int step)
{
    const std::wstring id = L"<n id='" + std::to_wstring(step) + L"'";
    switch (random() % 9) {
    case 0:
        markup.InsertMarkup((id + L">t<n/></n>").c_str());
        break;
    case 1:
        markup.InsertMarkup((id + L"/>").c_str());
        break;
    case 2:
        markup.AppendElement(L"n", std::to_wstring(step).c_str());
        break;
    case 3:
        markup.RemoveElement();
        break;
    case 4:
        markup.EnterElement();
        break;
    case 5:
        markup.LeaveElement();
        break;
    case 6:
        if (random() % 8 == 0)
            (void)markup.GetDoc();
        break;
    case 7:
        markup.ReplaceElement((id + L"><n>u</n></n>").c_str());
        break;
    default:
        markup.FindElement(L"n");
    }
}

TEST(MarkupEdit, IndexIsThatOfANewParseAfterAnyEdits)
{
    for (unsigned seed = 0; seed < 60; ++seed) {
        std::mt19937 random(seed);
        CMarkup markup = Parsed(L"<n id='r'>\n<n id='a'>x</n> <n id='b'/>\n<n id='c'><n id='d'/>y</n></n>\n");
        for (int step = 0; step < 120; ++step)
            EditSomewhere(markup, random, step);
        ExpectIndexIsRight(markup);
    }
}

} // namespace
