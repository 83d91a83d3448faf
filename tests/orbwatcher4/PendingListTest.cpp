// Pending files as a list in a file.
#include "tests/orbwatcher4/WatcherFixture.h"
#include "xml/Markup.h"

namespace
{

using Expected = std::vector<std::pair<std::string, std::wstring>>;

class PendingList : public WatcherFixture
{
protected:
    PendingList() { SelectTree(); }

    void Add(const CString& path, NotificationKind kind = NotificationKind::Added, std::uint32_t flags = 0)
    {
        auto notification = std::make_shared<Notification>();
        notification->kind = kind;
        notification->ruleFlags = flags;
        Parts().pending.Put(path, notification);
    }
    int Export(int most)
    {
        int count = most;
        EXPECT_TRUE(watcher.ExportFilesToXML(list, count));
        return count;
    }
    // Names and texts of the elements of the list.
    std::vector<std::pair<std::string, std::wstring>> Elements()
    {
        std::vector<std::pair<std::string, std::wstring>> elements;
        CMarkup document;
        EXPECT_TRUE(document.Load(list));
        EXPECT_TRUE(document.GetParseError().IsEmpty());
        EXPECT_TRUE(document.FindElement(L"root") && document.EnterElement());
        for (const wchar_t* name : {L"item", L"count"}) {
            while (document.FindElement(name))
                elements.emplace_back(Narrow(std::wstring_view(name)), std::wstring(document.GetElementText()));
            document.ResetPosition();
            document.FindElement(L"root");
            document.EnterElement();
        }
        return elements;
    }
    std::string Bytes() { return folder.ReadBytes(L"pending.xml"); }

    const CString list = folder.Path(L"pending.xml");
};

TEST_F(PendingList, HoldsThePathOfEachPendingFileAndHowManyTheyAre)
{
    Add(L"C:\\a & b\\<1>.txt");
    EXPECT_EQ(Export(100), 1);
    EXPECT_EQ(Elements(), (Expected{{"item", L"C:\\a & b\\<1>.txt"}, {"count", L"1"}}));
}

TEST_F(PendingList, HoldsANameWithHalfOfAPairWithoutHarmToTheOthers)
{
    const std::vector<CString> files = {L"C:\\half \xD800", L"C:\\\xDC00\xD83D\xDE00", L"C:\\\xD83D\xDE00.txt"};
    for (const CString& file : files)
        Add(file);
    EXPECT_EQ(Export(10), 3);
    const Expected elements = Elements();
    ASSERT_EQ(elements.size(), 4u);
    for (const CString& file : files)
        EXPECT_EQ(std::count(elements.begin(), elements.end(), Expected::value_type("item", file.GetString())), 1);
}

TEST_F(PendingList, ANothingPendingLeavesTheFileAlone)
{
    int count = 5;
    EXPECT_FALSE(watcher.ExportFilesToXML(list, count));
    EXPECT_EQ(count, 0);
    EXPECT_EQ(GetFileAttributesW(list), INVALID_FILE_ATTRIBUTES);
    EXPECT_TRUE(log.Has(L"No files to export to pending list. Exiting."));
}

TEST_F(PendingList, HoldsAtMostAsManyAsWereAskedFor)
{
    for (int i = 0; i < 5; ++i)
        Add(L"C:\\" + CString(std::to_wstring(i).c_str()));
    EXPECT_EQ(Export(3), 3);
    EXPECT_EQ(Elements().size(), 4u);
    EXPECT_EQ(Elements().back().second, L"3");
}

TEST_F(PendingList, OfAtMostNoneIsACountOfNone)
{
    Add(L"C:\\a");
    EXPECT_EQ(Export(0), 0);
    EXPECT_EQ(Elements(), (Expected{{"count", L"0"}}));
}

TEST_F(PendingList, LeavesDeletionsAndInternalFilesOut)
{
    Add(L"C:\\deleted", NotificationKind::Deleted);
    Add(L"C:\\internal", NotificationKind::Modified, RuleFlags::Internal);
    EXPECT_EQ(Export(10), 0);
    EXPECT_EQ(Elements(), (Expected{{"count", L"0"}}));
    EXPECT_TRUE(log.Has(L"File is Deleted: C:\\deleted"));
    EXPECT_TRUE(log.Has(L"File is Internal: C:\\internal"));
}

TEST_F(PendingList, ASecondExportComesBehindTheFirst)
{
    Add(L"C:\\a");
    Export(10);
    const std::string before = Bytes();
    Export(10);
    EXPECT_EQ(Elements(), (Expected{{"item", L"C:\\a"}, {"item", L"C:\\a"}, {"count", L"1"}, {"count", L"1"}}));
    EXPECT_EQ(Bytes().substr(0, before.size() - 10), before.substr(0, before.size() - 10));
}

TEST_F(PendingList, ThatIsThereKeepsItsEncoding)
{
    const std::u16string text = u"\uFEFF<root><item>C:\\\u00e4</item></root>";
    folder.WriteBytes(L"pending.xml", std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2));
    Add(L"C:\\\u20ac");
    EXPECT_EQ(Export(10), 1);
    EXPECT_EQ(Bytes().substr(0, 4), std::string("\xFF\xFE<\0", 4));
    EXPECT_EQ(Elements(), (Expected{{"item", L"C:\\\u00e4"}, {"item", L"C:\\\u20ac"}, {"count", L"1"}}));
}

TEST_F(PendingList, TakesThePlaceOfWhatIsNoneAndKeepsThatBeside)
{
    for (const char* other : {"no xml at all", "<other><item>C:\\x</item></other>", "<root><item>C:\\x</root>"}) {
        folder.WriteBytes(L"pending.xml", other);
        Add(L"C:\\a");
        EXPECT_EQ(Export(10), 1) << other;
        EXPECT_EQ(Elements(), (Expected{{"item", L"C:\\a"}, {"count", L"1"}})) << other;
        EXPECT_EQ(folder.ReadBytes(L"pending.xml.bad"), other);
    }
}

TEST_F(PendingList, IsNotWrittenOverWhatCannotBeKeptBeside)
{
    folder.WriteBytes(L"pending.xml", "no xml at all");
    folder.WriteBytes(L"pending.xml.bad\\in the way", "");
    Add(L"C:\\a");
    EXPECT_EQ(Export(10), 0);
    EXPECT_EQ(Bytes(), "no xml at all");
    EXPECT_TRUE(log.Has(L"The pending list cannot be opened, or is no such list and cannot be kept beside: " +
                        std::wstring(list)));
}

TEST_F(PendingList, ThatCannotBeWrittenStaysAsItWasAndIsInTheLog)
{
    folder.WriteBytes(L"pending.xml", "<root/>");
    ASSERT_TRUE(SetFileAttributesW(list, FILE_ATTRIBUTE_READONLY));
    Add(L"C:\\a");
    EXPECT_EQ(Export(10), 1);
    ASSERT_TRUE(SetFileAttributesW(list, FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(Bytes(), "<root/>");
    EXPECT_TRUE(log.Has(L"The pending list cannot be written: " + std::wstring(list)));
}

} // namespace
