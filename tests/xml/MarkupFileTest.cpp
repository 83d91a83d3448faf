#include "tests/support/TempFolder.h"
#include "xml/Markup.h"

#include <gtest/gtest.h>

namespace
{

using namespace std::string_literals;

class MarkupFileTest : public testing::Test
{
protected:
    bool Load(const std::string& bytes)
    {
        m_folder.WriteBytes(L"a.xml", bytes);
        return m_markup.Load(m_folder.Path(L"a.xml"));
    }

    std::string Saved()
    {
        EXPECT_TRUE(m_markup.Save(m_folder.Path(L"b.xml")));
        return m_folder.ReadBytes(L"b.xml");
    }

    TempFolder m_folder;
    CMarkup m_markup;
};

TEST_F(MarkupFileTest, MissingFileLeavesAnEmptyDocumentAndTheReason)
{
    ASSERT_TRUE(m_markup.SetDoc(L"<a><b/></a>"));
    ASSERT_TRUE(m_markup.FindElement(L"a"));
    EXPECT_FALSE(m_markup.Load(m_folder.Path(L"none.xml")));
    EXPECT_STREQ(m_markup.GetResult(), L"No such file or directory");
    EXPECT_TRUE(m_markup.GetParseError().IsEmpty());
    EXPECT_TRUE(m_markup.GetDoc().IsEmpty());
    EXPECT_TRUE(m_markup.GetElementMarkup().IsEmpty());
    EXPECT_FALSE(m_markup.FindElement(L"a"));
    EXPECT_EQ(Saved(), "");
}

TEST_F(MarkupFileTest, GoodFileGivesTheLoadsAccountAlone)
{
    EXPECT_TRUE(Load("<a>\xC3\xA4</a>"));
    EXPECT_STREQ(m_markup.GetResult(), L"9 bytes to 8 wide chars");
    EXPECT_TRUE(m_markup.GetParseError().IsEmpty());
}

TEST_F(MarkupFileTest, ParseErrorFollowsTheLoadsAccount)
{
    EXPECT_TRUE(Load("\xEF\xBB\xBF<a>"));
    EXPECT_STREQ(m_markup.GetResult(), L"UTF-8 BOM + 3 bytes to 3 wide chars, Element 'a' at offset 0 not ended");
    EXPECT_STREQ(m_markup.GetParseError(), L"Element 'a' at offset 0 not ended");
}

TEST_F(MarkupFileTest, EmptyFilesAreEmptyDocuments)
{
    for (const char* bytes : {"", "\xEF\xBB\xBF", "\xFF\xFE"}) {
        EXPECT_TRUE(Load(bytes));
        EXPECT_STREQ(m_markup.GetParseError(), L"Empty document");
        EXPECT_FALSE(m_markup.FindElement(L"a"));
    }
    EXPECT_STREQ(m_markup.GetResult(), L"UTF-16LE BOM + 0 wide chars, Empty document");
}

TEST_F(MarkupFileTest, DocumentEndsAtAZeroByte)
{
    EXPECT_TRUE(Load("<a/>\0<b/>"s));
    EXPECT_STREQ(m_markup.GetDoc(), L"<a/>");
    EXPECT_TRUE(m_markup.GetParseError().IsEmpty());
}

TEST_F(MarkupFileTest, Utf16WithoutItsMarkIsAnErrorOnly)
{
    EXPECT_TRUE(Load("<\0a\0/\0>\0"s));
    EXPECT_STREQ(m_markup.GetParseError(), L"No root element");
}

TEST_F(MarkupFileTest, ZeroUnitsInUtf16AreOrdinaryOnes)
{
    EXPECT_TRUE(Load("\xFF\xFE<\0a\0>\0\0\0<\0/\0a\0>\0"s));
    EXPECT_TRUE(m_markup.GetParseError().IsEmpty());
    EXPECT_EQ(Saved(), "\xFF\xFE<\0a\0>\0\0\0<\0/\0a\0>\0"s);
}

TEST_F(MarkupFileTest, SavingKeepsTheEncoding)
{
    for (const std::string& bytes :
         {"<a>\xC3\xA4</a>"s, "\xEF\xBB\xBF<a>\xC3\xA4</a>"s, "\xFF\xFE<\0a\0>\0\xE4\0<\0/\0a\0>\0"s}) {
        ASSERT_TRUE(Load(bytes));
        EXPECT_STREQ(m_markup.GetDoc(), L"<a>\xE4</a>");
        EXPECT_EQ(Saved(), bytes);
    }
}

TEST_F(MarkupFileTest, SavingAnEditedDocumentKeepsTheEncodingAndTheRest)
{
    ASSERT_TRUE(Load("\xEF\xBB\xBF<?xml version='1.0'?>\r\n<root >\r\n\t<item>\xC3\xA4</item>\r\n</root>\r\n"));
    ASSERT_TRUE(m_markup.FindElement(L"root"));
    ASSERT_TRUE(m_markup.EnterElement());
    ASSERT_TRUE(m_markup.AppendElement(L"item", L"\x20AC"));
    EXPECT_EQ(Saved(), "\xEF\xBB\xBF<?xml version='1.0'?>\r\n<root >\r\n\t<item>\xC3\xA4</item>"
                       "<item>\xE2\x82\xAC</item>\r\n</root>\r\n");
}

TEST_F(MarkupFileTest, EncodingOfTheLastLoadCounts)
{
    ASSERT_TRUE(Load("\xFF\xFE<\0a\0/\0>\0"s));
    ASSERT_TRUE(Load("\xEF\xBB\xBF<a/>"));
    EXPECT_EQ(Saved(), "\xEF\xBB\xBF<a/>");
    ASSERT_TRUE(Load("<a/>"));
    EXPECT_EQ(Saved(), "<a/>");
}

TEST_F(MarkupFileTest, TextThatWasSetIsSavedWithoutAMark)
{
    ASSERT_TRUE(Load("\xEF\xBB\xBF<a/>"));
    ASSERT_TRUE(m_markup.SetDoc(L"<b/>"));
    EXPECT_EQ(Saved(), "<b/>");
    EXPECT_STREQ(m_markup.GetResult(), L"4 wide chars to 4 bytes");
}

TEST_F(MarkupFileTest, SavingIntoAMissingFolderFailsAndSaysWhy)
{
    ASSERT_TRUE(m_markup.SetDoc(L"<a/>"));
    EXPECT_FALSE(m_markup.Save(m_folder.Path(L"none/b.xml")));
    EXPECT_STREQ(m_markup.GetResult(), L"No such file or directory");
    EXPECT_STREQ(m_markup.GetDoc(), L"<a/>");
}

TEST_F(MarkupFileTest, AFolderIsNoDocument)
{
    m_markup.Load(m_folder.Path());
    EXPECT_FALSE(m_markup.GetResult().IsEmpty());
    EXPECT_TRUE(m_markup.GetDoc().IsEmpty());
}

TEST_F(MarkupFileTest, FileCutAtEveryByteIsReadWithoutHarm)
{
    const std::string sample = "\xEF\xBB\xBF<a x='\xC3\xA4'>\xE2\x82\xAC\xF0\x9F\x98\x80<b/></a>";
    for (std::size_t length = 0; length <= sample.size(); ++length) {
        EXPECT_TRUE(Load(sample.substr(0, length)));
        EXPECT_EQ(m_markup.GetParseError().IsEmpty(), length == sample.size()) << length;
    }
}

} // namespace
