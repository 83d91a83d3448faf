#include "xml/TextFile.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

namespace
{

using namespace std::string_literals;

class TextFileTest : public testing::Test
{
protected:
    bool Read(const std::string& bytes, const TextFileOptions& options = {})
    {
        m_folder.WriteBytes(L"in.xml", bytes);
        return ReadTextFile(m_folder.Path(L"in.xml"), m_text, &m_result, &m_flags, options);
    }

    bool Write(const CString& text, std::uint32_t flags, const TextFileOptions& options = {})
    {
        m_flags = flags;
        return WriteTextFile(m_folder.Path(L"out.xml"), text, &m_result, &m_flags, options);
    }

    std::string Written() const { return m_folder.ReadBytes(L"out.xml"); }

    TempFolder m_folder;
    CString m_text;
    CString m_result;
    std::uint32_t m_flags = 0;
};

// Moves bytes for real until the call that is to fail.
class FailingBytes : public FileBytes
{
public:
    explicit FailingBytes(int failing) : m_failing(failing) {}
    std::size_t Read(void* bytes, std::size_t count, std::FILE* file) override
    {
        return Fails() ? 0 : FileBytes::Read(bytes, count, file);
    }
    std::size_t Write(const void* bytes, std::size_t count, std::FILE* file) override
    {
        return Fails() ? 0 : FileBytes::Write(bytes, count, file);
    }

private:
    bool Fails()
    {
        if (++m_calls != m_failing)
            return false;
        errno = ENOSPC;
        return true;
    }
    int m_failing;
    int m_calls = 0;
};

std::wstring NoSpace()
{
    const std::string text = std::strerror(ENOSPC);
    return {text.begin(), text.end()};
}

TEST_F(TextFileTest, MissingFileGivesTheSystemsErrorText)
{
    EXPECT_FALSE(ReadTextFile(m_folder.Path(L"none.xml"), m_text, &m_result, &m_flags));
    EXPECT_STREQ(m_result, L"No such file or directory");
    EXPECT_TRUE(m_text.IsEmpty());
}

TEST_F(TextFileTest, NullPathCannotBeOpened)
{
    EXPECT_FALSE(ReadTextFile(nullptr, m_text, &m_result, nullptr));
    EXPECT_FALSE(m_result.IsEmpty());
    EXPECT_FALSE(WriteTextFile(nullptr, m_text, &m_result, nullptr));
}

TEST_F(TextFileTest, ResultAndFlagsMayBeLeftOut)
{
    m_folder.WriteBytes(L"in.xml", "<a/>");
    EXPECT_TRUE(ReadTextFile(m_folder.Path(L"in.xml"), m_text, nullptr, nullptr));
    EXPECT_STREQ(m_text, L"<a/>");
    EXPECT_TRUE(WriteTextFile(m_folder.Path(L"out.xml"), m_text, nullptr, nullptr));
    EXPECT_EQ(Written(), "<a/>");
    EXPECT_FALSE(ReadTextFile(m_folder.Path(L"none.xml"), m_text, nullptr, nullptr));
}

TEST_F(TextFileTest, ReadsUtf8WithoutMark)
{
    m_flags = TextUtf16Mark | TextUtf8Mark | 0x100;
    EXPECT_TRUE(Read("<\xC3\xA4/>"));
    EXPECT_STREQ(m_text, L"<\xE4/>");
    EXPECT_STREQ(m_result, L"5 bytes to 4 wide chars");
    EXPECT_EQ(m_flags, 0x100u);
}

TEST_F(TextFileTest, ReadsUtf8WithMark)
{
    EXPECT_TRUE(Read("\xEF\xBB\xBF<\xC3\xA4/>"));
    EXPECT_STREQ(m_text, L"<\xE4/>");
    EXPECT_STREQ(m_result, L"UTF-8 BOM + 5 bytes to 4 wide chars");
    EXPECT_EQ(m_flags, TextUtf8Mark);
}

TEST_F(TextFileTest, ReadsUtf16WithMark)
{
    EXPECT_TRUE(Read("\xFF\xFE<\0\xAC\x20\x00\xD8>\0"s));
    EXPECT_EQ(m_text.View(), (std::wstring{L'<', 0x20AC, 0xD800, L'>'}));
    EXPECT_STREQ(m_result, L"UTF-16LE BOM + 4 wide chars");
    EXPECT_EQ(m_flags, TextUtf16Mark);
}

TEST_F(TextFileTest, LastOddByteOfUtf16IsLeftOut)
{
    EXPECT_TRUE(Read("\xFF\xFE"
                     "a\0b"s));
    EXPECT_STREQ(m_text, L"a");
    EXPECT_STREQ(m_result, L"UTF-16LE BOM + 1 wide chars");
}

TEST_F(TextFileTest, TheUtf16MarkAloneIsAnEmptyText)
{
    EXPECT_TRUE(Read("\xFF\xFE"));
    EXPECT_TRUE(m_text.IsEmpty());
    EXPECT_STREQ(m_result, L"UTF-16LE BOM + 0 wide chars");
    EXPECT_EQ(m_flags, TextUtf16Mark);
}

TEST_F(TextFileTest, TheUtf8MarkAloneIsAnEmptyText)
{
    EXPECT_TRUE(Read("\xEF\xBB\xBF"));
    EXPECT_TRUE(m_text.IsEmpty());
    EXPECT_STREQ(m_result, L"UTF-8 BOM + 0 bytes to 0 wide chars");
    EXPECT_EQ(m_flags, TextUtf8Mark);
}

TEST_F(TextFileTest, FilesShorterThanAMarkHaveNone)
{
    EXPECT_TRUE(Read(""));
    EXPECT_STREQ(m_result, L"0 bytes to 0 wide chars");
    EXPECT_TRUE(Read("\xEF\xBB"));
    EXPECT_STREQ(m_result, L"2 bytes to 0 wide chars");
    EXPECT_TRUE(Read("a"));
    EXPECT_STREQ(m_text, L"a");
    EXPECT_STREQ(m_result, L"1 bytes to 1 wide chars");
    EXPECT_EQ(m_flags, 0u);
}

TEST_F(TextFileTest, BigEndianTextIsNotUnderstoodAndNotRefused)
{
    EXPECT_TRUE(Read("\xFE\xFF\0<"s));
    EXPECT_STREQ(m_text, L"??");
    EXPECT_STREQ(m_result, L"4 bytes to 2 wide chars");
}

TEST_F(TextFileTest, ZeroByteEndsTheText)
{
    EXPECT_TRUE(Read("<a/>\0<b/>"s));
    EXPECT_STREQ(m_text, L"<a/>");
    EXPECT_STREQ(m_result, L"9 bytes to 4 wide chars");
}

TEST_F(TextFileTest, CutSequenceGivesQuestionMark)
{
    EXPECT_TRUE(Read("\xC3"
                     "A"));
    EXPECT_STREQ(m_text, L"?A");
}

TEST_F(TextFileTest, TooLongFilesAreRefusedAndSaidSo)
{
    TextFileOptions options;
    options.longest = 4;
    EXPECT_TRUE(Read("1234", options));
    EXPECT_STREQ(m_text, L"1234");
    EXPECT_TRUE(Read("12345", options));
    EXPECT_TRUE(m_text.IsEmpty());
    EXPECT_STREQ(m_result, L"5 bytes are too long for a document");
    EXPECT_TRUE(Read("\xFF\xFE" + std::string(10, 'x'), options));
    EXPECT_TRUE(m_text.IsEmpty());
    EXPECT_STREQ(m_result, L"12 bytes are too long for a document");
}

TEST_F(TextFileTest, ReadErrorsGiveAnEmptyTextAndTheReason)
{
    for (const std::string& bytes : {"<a/>"s, "\xEF\xBB\xBF<a/>"s, "\xFF\xFE<\0"s})
        for (const int failing : {1, 2}) {
            FailingBytes disk(failing);
            TextFileOptions options;
            options.bytes = &disk;
            EXPECT_TRUE(Read(bytes, options));
            EXPECT_TRUE(m_text.IsEmpty());
            EXPECT_EQ(m_result.View(), NoSpace());
        }
}

TEST_F(TextFileTest, WritesUtf8WithoutMark)
{
    EXPECT_TRUE(Write(L"<\xE4/>", 0x100));
    EXPECT_EQ(Written(), "<\xC3\xA4/>");
    EXPECT_STREQ(m_result, L"4 wide chars to 5 bytes");
    EXPECT_EQ(m_flags, 0x100u);
}

TEST_F(TextFileTest, WritesUtf8WithMark)
{
    EXPECT_TRUE(Write(L"<\xE4/>", TextUtf8Mark));
    EXPECT_EQ(Written(), "\xEF\xBB\xBF<\xC3\xA4/>");
    EXPECT_STREQ(m_result, L"4 wide chars to UTF-8 BOM + 5 bytes");
}

TEST_F(TextFileTest, WritesUtf16UnitsAsTheyAre)
{
    EXPECT_TRUE(Write(CString(std::wstring_view(std::wstring{L'<', 0x20AC, 0xD800, L'>'})), TextUtf16Mark));
    EXPECT_EQ(Written(), "\xFF\xFE<\0\xAC\x20\x00\xD8>\0"s);
    EXPECT_STREQ(m_result, L"UTF-16LE BOM + 4 wide chars");
}

TEST_F(TextFileTest, WithBothBitsUtf16Wins)
{
    EXPECT_TRUE(Write(L"a", TextUtf16Mark | TextUtf8Mark));
    EXPECT_EQ(Written(), "\xFF\xFE"
                         "a\0"s);
}

TEST_F(TextFileTest, LoneSurrogateAtTheEndIsWrittenAsQuestionMark)
{
    EXPECT_TRUE(Write(CString(std::wstring_view(std::wstring{L'a', 0xD83D})), 0));
    EXPECT_EQ(Written(), "a?");
}

TEST_F(TextFileTest, WritingTruncatesWhatWasThere)
{
    EXPECT_TRUE(Write(L"a long text", 0));
    EXPECT_TRUE(Write(L"", 0));
    EXPECT_EQ(Written(), "");
    EXPECT_STREQ(m_result, L"0 wide chars to 0 bytes");
}

TEST_F(TextFileTest, FileThatCannotBeCreatedGivesTheSystemsErrorText)
{
    EXPECT_FALSE(WriteTextFile(m_folder.Path(L"none/out.xml"), L"a", &m_result, &m_flags));
    EXPECT_STREQ(m_result, L"No such file or directory");
}

TEST_F(TextFileTest, FailedWriteOfTheTextIsReported)
{
    for (const std::uint32_t flags : {0u, TextUtf8Mark, TextUtf16Mark}) {
        FailingBytes disk(flags ? 2 : 1);
        TextFileOptions options;
        options.bytes = &disk;
        EXPECT_FALSE(Write(L"a", flags, options));
        EXPECT_EQ(m_result.View(), NoSpace());
    }
}

TEST_F(TextFileTest, FailedUtf16MarkLeavesAnEmptyFileAndCountsAsDone)
{
    FailingBytes disk(1);
    TextFileOptions options;
    options.bytes = &disk;
    EXPECT_TRUE(Write(L"a", TextUtf16Mark, options));
    EXPECT_EQ(Written(), "");
    EXPECT_TRUE(m_result.IsEmpty());
}

TEST_F(TextFileTest, FailedUtf8MarkIsLeftOutOfTheResult)
{
    FailingBytes disk(1);
    TextFileOptions options;
    options.bytes = &disk;
    EXPECT_TRUE(Write(L"a", TextUtf8Mark, options));
    EXPECT_EQ(Written(), "a");
    EXPECT_STREQ(m_result, L"1 wide chars to 1 bytes");
}

TEST(EncodeText, GivesTheBytesThatAreRead)
{
    const wchar_t text[] = {L'a', 0xE4, 0xD83D, 0xDE00, 0};
    std::string bytes;
    ASSERT_TRUE(EncodeText(text, 0, bytes));
    EXPECT_EQ(bytes, "a\xC3\xA4\xF0\x9F\x98\x80");
    ASSERT_TRUE(EncodeText(L"a", TextUtf8Mark, bytes));
    EXPECT_EQ(bytes, "\xEF\xBB\xBF"
                     "a");
    ASSERT_TRUE(EncodeText(L"a\u00E4", TextUtf16Mark, bytes));
    EXPECT_EQ(bytes, std::string("\xFF\xFE"
                                 "a\0\xE4\0",
                                 6));
}

TEST(EncodeText, RefusesWhatWouldBeReadAsAnotherText)
{
    const wchar_t half[] = {L'a', 0xD800, L'"', 0};
    const wchar_t halfAtTheEnd[] = {L'a', 0xD800, 0};
    std::string bytes;
    EXPECT_FALSE(EncodeText(half, 0, bytes));
    EXPECT_FALSE(EncodeText(halfAtTheEnd, TextUtf8Mark, bytes));
    EXPECT_FALSE(EncodeText(L"\uFEFFa", 0, bytes));
    EXPECT_FALSE(EncodeText(CString(std::wstring_view(L"a\0b", 3)), 0, bytes));
    EXPECT_TRUE(EncodeText(half, TextUtf16Mark, bytes));
}

} // namespace
