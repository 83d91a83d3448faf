// Files behind the wrong option, wrong encodings and command lines that are not meant.
#include "tests/host/HostTest.h"
#include "tests/support/Said.h"

namespace
{

class WrongInput : public HostTest
{
protected:
    // The one error of a command that ends with wrong usage.
    static std::string Refused(const Arguments& arguments, const std::string& input = "")
    {
        HostProcess host(arguments, input);
        EXPECT_EQ(host.Finish(), 2);
        return OnlyError(host).value("message", "");
    }
    std::string RefusedBytes(const std::string& bytes)
    {
        folder.WriteBytes(L"selection.xml", bytes);
        return Refused(Explain({tree}));
    }
    std::string Advanced() const
    {
        return Item(L"path=\"$$ALLPATHS$$\" type=\"1\" includeSub=\"1\" exclude=\"1\" mask=\".tmp\"");
    }
    std::string Exclusion() const
    {
        return Item(L"path=\"" + InTree(L"out") + L"\" type=\"1\" includeSub=\"1\" exclude=\"1\"");
    }
};

TEST_F(WrongInput, AFileBehindTheOptionOfAnotherKindIsRefusedWithItsKind)
{
    const std::wstring selection = WriteSelection(L"other.xml", TreeItem());
    const std::wstring advanced = WriteSelection(L"advanced.xml", Advanced());
    EXPECT_TRUE(Says(Refused(Explain({L"--advanced", selection, tree})), "it holds a selection"));
    EXPECT_TRUE(Says(Refused(Explain({L"--auto-exclude", selection, tree})), "it holds a selection"));
    EXPECT_TRUE(Says(Refused(Explain({L"--auto-exclude", advanced, tree})), "it holds advanced filters"));
    EXPECT_TRUE(Says(Refused(Explain({L"--secondary", advanced, tree})), "it holds advanced filters"));
    WriteSelection(Advanced());
    EXPECT_TRUE(Says(Refused(Explain({tree})), "it holds advanced filters; give it as --advanced"));
}

TEST_F(WrongInput, FilesBehindTheirOwnOptionsAreTaken)
{
    const std::wstring advanced = WriteSelection(L"advanced.xml", Advanced());
    const std::wstring automatic = WriteSelection(L"auto.xml", Exclusion());
    const std::wstring empty = WriteSelection(L"empty.xml", "");
    for (const Arguments& files : {Arguments{L"--advanced", advanced, L"--auto-exclude", automatic},
                                   Arguments{L"--advanced", empty, L"--auto-exclude", empty, L"--secondary", empty}}) {
        HostProcess host(Explain(Joined(files, {tree})));
        EXPECT_EQ(host.Finish(), 0);
    }
}

TEST_F(WrongInput, AnEncodingThatIsNotReadIsNamedWithItsLine)
{
    using namespace std::string_literals;
    const std::string latin =
        RefusedBytes("<?xml version=\"1.0\" encoding=\"windows-1252\"?>\n<Data>\n<Item path=\"C:\\\xE4\"/>\n</Data>");
    EXPECT_TRUE(Says(latin, "line 3: the encoding is wrong")) << latin;
    EXPECT_TRUE(Says(latin, "windows-1252")) << latin;
    EXPECT_TRUE(Says(RefusedBytes("<\0D\0a\0t\0a\0/\0>\0"s), "UTF-16 without a byte-order mark"));
    EXPECT_TRUE(Says(RefusedBytes("\0<\0D\0a\0t\0a\0/\0>"s), "UTF-16 without a byte-order mark"));
    EXPECT_TRUE(Says(RefusedBytes("\xFE\xFF\0<\0D\0a\0t\0a\0/\0>"s), "big-endian UTF-16"));
}

TEST_F(WrongInput, AnOptionThatIsGivenTwiceIsCalledThat)
{
    EXPECT_TRUE(Says(Refused(Explain({L"--data", Path(L"selection.xml"), tree})), "--data is given twice"));
}

TEST_F(WrongInput, APathWithAQuotationMarkIsNoPathAndTheOthersAreExplained)
{
    HostProcess host(Explain({InTree(L"a dir\" C:\\b"), tree}));
    EXPECT_EQ(host.Finish(), 2);
    EXPECT_TRUE(Says(OnlyError(host).value("message", ""), "quotation mark"));
    EXPECT_EQ(host.Records().size(), 1u);
    EXPECT_TRUE(Says(Refused(Explain({L"-"}), "\"C:\\a\"\n"), "quotation mark"));
}

TEST_F(WrongInput, ATextThatNoFileCanHaveAsItsPathIsNoneAndSaysWhy)
{
    const std::pair<std::wstring, std::string> tried[] = {
        {L" ", "it holds nothing but spaces"},   {InTree(L"a?.txt"), "no name holds ?"},
        {InTree(L"*.txt"), "no name holds *"},   {InTree(L"a|b\\c"), "no name holds |"},
        {InTree(L"a.txt:b"), "no name holds :"}, {L"CON", "it names a device"},
        {L"nul", "it names a device"},           {L"\\\\.\\C:", "it names a device"},
    };
    for (const auto& [path, words] : tried) {
        HostProcess host(Explain({path, tree}));
        EXPECT_EQ(host.Finish(), 2) << Utf8(path);
        const std::string message = OnlyError(host).value("message", "");
        EXPECT_TRUE(message.starts_with("this is no path of a file: " + words)) << Utf8(path) << message;
        EXPECT_EQ(host.Records().size(), 1u) << Utf8(path); // the other one is explained
    }
}

TEST_F(WrongInput, APathThatNothingCanHaveNowIsExplainedAndThatIsSaid)
{
    const std::wstring file = Write(L"a.txt", "x");
    const std::pair<std::wstring, std::string> tried[] = {
        {file + L"\\below\\it", "nothing can be there now: " + Utf8(file) + " is a file"},
        {InTree(L"aux.txt"), "aux.txt is a name that Windows keeps for a device"},
    };
    for (const auto& [path, words] : tried) {
        HostProcess host(Explain({path}));
        EXPECT_EQ(host.Finish(), 0) << Utf8(path);
        const std::vector<Json> notes = OfType(host.Errors(), "note");
        ASSERT_EQ(notes.size(), 1u) << Utf8(path);
        EXPECT_TRUE(Says(notes[0].at("message"), words)) << notes[0];
        EXPECT_EQ(host.Records().size(), 1u);
    }
}

TEST_F(WrongInput, ARelativePathIsSaidWithWhatItIsTakenFor)
{
    HostProcess host(Explain({L"letter.odt"}));
    EXPECT_EQ(host.Finish(), 0);
    const std::vector<Json> notes = OfType(host.Errors(), "note");
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_TRUE(Says(notes[0].at("message"), "this is no full path"));
    EXPECT_TRUE(Says(notes[0].at("message"), ":\\"));
}

TEST_F(WrongInput, AnEmptyStandardInputHoldsNoPath)
{
    EXPECT_TRUE(Says(Refused(Explain({L"-"}), ""), "standard input holds no path"));
    EXPECT_TRUE(Says(Refused(Explain({L"-"}), "\r\n\n"), "standard input holds no path"));
}

TEST_F(WrongInput, TheDoctorNamesTenMissingPathsAndCountsTheRest)
{
    std::string items = TreeItem();
    for (int i = 0; i < 12; ++i)
        items += Item(L"path=\"" + InTree(L"gone " + std::to_wstring(i)) + L"\" type=\"1\" includeSub=\"1\"");
    WriteSelection(items + Item(L"path=\"Q:\\x\" type=\"1\" includeSub=\"1\""));
    HostProcess host({L"doctor", L"--json", L"--data", Path(L"selection.xml")});
    EXPECT_EQ(host.Finish(), 3);
    int named = 0, counted = 0, drives = 0;
    for (const Json& check : OfType(host.Records(), "check")) {
        const std::string text = check.at("text");
        named += Says(text, "included, and not there") && check.contains("path");
        counted += text.starts_with("and 2 more: included, and not there");
        drives += text.starts_with("the drive is not there, or holds another volume; its 1 rule holds");
    }
    EXPECT_EQ(named, 10);
    EXPECT_EQ(counted, 1);
    EXPECT_EQ(drives, 1);
}

} // namespace
