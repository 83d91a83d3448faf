// Files and folders that the command line names and that are not what the option needs.
#include "tests/host/HostTest.h"
#include "tests/support/Said.h"

namespace
{

class NamedFiles : public HostTest
{
protected:
    // The one error of a command that is refused; nothing was done.
    static Json Refused(const Arguments& arguments)
    {
        HostProcess host(arguments);
        EXPECT_EQ(host.Finish(), 2);
        EXPECT_TRUE(OfType(host.Records(), "pending").empty());
        return OnlyError(host);
    }
    static std::string Message(const Json& error) { return error.value("message", ""); }
    Arguments Command(const wchar_t* name, const Arguments& more = {}) const
    {
        return Joined({name, L"--json", L"--data", Path(L"selection.xml"), L"--index", index}, more);
    }
    Arguments WithIndex(const wchar_t* name, const std::wstring& other, const Arguments& more = {}) const
    {
        return Joined({name, L"--json", L"--data", Path(L"selection.xml"), L"--index", other}, more);
    }
};

TEST_F(NamedFiles, AFolderInThePlaceOfAFileIsCalledThat)
{
    const std::wstring rules = WriteSelection(L"new.xml", TreeItem());
    const std::pair<Arguments, std::string> tried[] = {
        {{L"explain", L"--json", L"--data", tree, L"C:\\x"}, "--data"},
        {Explain({L"--auto-exclude", tree, L"C:\\x"}), "--auto-exclude"},
        {Explain({L"--advanced", tree, L"C:\\x"}), "--advanced"},
        {Explain({L"--secondary", tree, L"C:\\x"}), "--secondary"},
        {WithIndex(L"enumerate", tree), "--index"},
        {WithIndex(L"watch", tree), "--index"},
        {WithIndex(L"export", tree, {L"--to", Path(L"list.xml")}), "--index"},
        {WithIndex(L"add", tree, {L"--rules", rules}), "--index"},
        {Command(L"add", {L"--rules", tree}), "--rules"},
        {Command(L"estimate", {L"--stats", tree}), "--stats"},
        {Command(L"estimate", {L"--report", tree}), "--report"},
        {Command(L"export", {L"--to", tree}), "--to"},
    };
    for (const auto& [arguments, option] : tried) {
        const Json error = Refused(arguments);
        EXPECT_TRUE(Says(Message(error), "is a folder, not a file")) << option << error;
        EXPECT_TRUE(Says(Message(error), option)) << error;
        EXPECT_EQ(error.value("path", ""), Utf8(tree)) << option;
    }
}

TEST_F(NamedFiles, AnIndexWhoseFolderOrDriveIsNotThereIsRefused)
{
    EXPECT_TRUE(Says(Message(Refused(WithIndex(L"watch", Path(L"none\\index.db")))), "its folder is not there"));
    EXPECT_TRUE(Says(Message(Refused(WithIndex(L"enumerate", L"Q:\\index.db"))), "its drive or share is not there"));
}

TEST_F(NamedFiles, AnOptionIsNotTakenForTheFileOfTheOneBeforeIt)
{
    const Json error = Refused({L"watch", L"--json", L"--index", L"--data", Path(L"selection.xml")});
    EXPECT_TRUE(Says(Message(error), "the option before it has no value"));
}

TEST_F(NamedFiles, AMissingFileIsToldByItsOwnKind)
{
    const std::wstring missing = Path(L"missing.xml");
    const std::pair<Arguments, std::string> tried[] = {
        {{L"explain", L"--json", L"--data", missing, L"C:\\x"}, "as a selection: the file is not there"},
        {Explain({L"--auto-exclude", missing, L"C:\\x"}), "as automatic exclusions: the file is not there"},
        {Explain({L"--advanced", missing, L"C:\\x"}), "as advanced filters: the file is not there"},
        {Explain({L"--secondary", missing, L"C:\\x"}), "as a second selection: the file is not there"},
        {Command(L"add", {L"--rules", missing}), "the rules cannot be read: the file is not there"},
        {Command(L"estimate", {L"--stats", missing}), "the statistics cannot be read"},
    };
    for (const auto& [arguments, words] : tried) {
        const Json error = Refused(arguments);
        EXPECT_TRUE(Says(Message(error), words)) << error;
        EXPECT_EQ(error.value("path", ""), Utf8(missing));
    }
}

TEST_F(NamedFiles, AnIndexThatIsTheSelectionIsCalledThat)
{
    const std::string before = folder.ReadBytes(L"selection.xml");
    for (const wchar_t* name : {L"watch", L"enumerate", L"estimate"}) {
        const Json error = Refused(WithIndex(name, Path(L"selection.xml")));
        EXPECT_TRUE(Says(Message(error), "this is the selection, and no index")) << error;
        EXPECT_FALSE(Says(Message(error), "move it away")) << error;
    }
    EXPECT_EQ(folder.ReadBytes(L"selection.xml"), before);
}

TEST_F(NamedFiles, AFileThatIsNoIndexIsCalledThat)
{
    folder.WriteBytes(L"letter.db", "This is no database, but a letter that is longer than the header of one.");
    for (const wchar_t* name : {L"watch", L"enumerate"}) {
        const Json error = Refused(WithIndex(name, Path(L"letter.db")));
        EXPECT_TRUE(Says(Message(error), "this is no index")) << error;
        EXPECT_EQ(error.value("path", ""), Utf8(Path(L"letter.db")));
    }
    EXPECT_TRUE(Says(folder.ReadBytes(L"letter.db"), "but a letter"));
}

TEST_F(NamedFiles, ADestinationThatDependsOnTheCurrentFolderIsRefused)
{
    for (const wchar_t* destination : {L"relative", L"..\\Backup", L"\\Backup", L"C:Backup"})
        for (const wchar_t* name : {L"watch", L"enumerate", L"estimate"}) {
            const Json error = Refused(Command(name, {L"--destination", destination}));
            EXPECT_TRUE(Says(Message(error), "is no full path")) << error;
        }
}

TEST_F(NamedFiles, UTF32IsNamedAsSuch)
{
    using namespace std::string_literals;
    const std::string little = "<\0\0\0D\0\0\0/\0\0\0>\0\0\0"s, big = "\0\0\0<\0\0\0D\0\0\0/\0\0\0>"s;
    for (const std::string& bytes : {"\xFF\xFE\0\0"s + little, "\0\0\xFE\xFF"s + big, little, big}) {
        folder.WriteBytes(L"selection.xml", bytes);
        const Json error = Refused(Explain({tree}));
        EXPECT_TRUE(Says(Message(error), "UTF-32 is not supported; save it as UTF-8")) << error;
    }
}

TEST_F(NamedFiles, ASampleOnADriveThatIsNotThereIsRefused)
{
    const Json error = Refused({L"init", L"Q:\\x", L"--json"});
    EXPECT_TRUE(Says(Message(error), "its drive or share, Q:\\, is not there")) << error;
}

} // namespace
