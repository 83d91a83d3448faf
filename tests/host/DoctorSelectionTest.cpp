// A selection of which nothing is left: the doctor and the other commands say so, and why.
#include "tests/host/DoctorFixture.h"

namespace
{

class DoctorOfSelection : public Doctor
{
protected:
    std::string Below(const std::wstring& path, const std::wstring& more = {}) const
    {
        return Item(L"path=\"" + path + L"\" type=\"1\" includeSub=\"1\" " + more);
    }
    void SetDestination(const std::wstring& place) const
    {
        Json settings;
        settings["Backup"]["path"] = Utf8(place);
        folder.WriteBytes(L"data\\UserConfigurations.json", settings.dump());
    }
    Arguments Named(const wchar_t* command, const Arguments& more) const
    {
        return Joined({command, L"--json", L"--data", Path(L"selection.xml"), L"--index", index}, more);
    }
    // The doctor warns with these words, and the commands that use the selection say them and end with 3.
    void ExpectNothing(const std::string& why, const Arguments& more = {}) const
    {
        const std::vector<Json> records =
            Examined(Joined({L"--data", Path(L"selection.xml"), L"--index", index}, more), End::Well);
        EXPECT_EQ(StateOf(records, "selection", "includes nothing: " + why), "warning");
        for (const Arguments& arguments : {Named(L"enumerate", more), Named(L"estimate", more),
                                           Named(L"watch", Joined({L"--until-quiet", L"0.2"}, more))}) {
            HostProcess host(arguments);
            EXPECT_EQ(host.Finish(), 3) << Utf8(arguments[0]);
            EXPECT_TRUE(IsSaid(host, "the selection includes nothing: " + why)) << Utf8(arguments[0]);
        }
    }
};

TEST_F(DoctorOfSelection, OneThatLiesInTheDestinationIncludesNothing)
{
    ExpectNothing(Utf8(InTree(L"")) + " is in the backup destination", {L"--destination", tree});
    SetDestination(tree);
    ExpectNothing(Utf8(InTree(L"")) + " is in the backup destination");
}

TEST_F(DoctorOfSelection, OneThatLiesInTheDataFolderIncludesNothing)
{
    std::filesystem::create_directories(data + L"\\mine");
    WriteSelection(Below(data + L"\\mine"));
    ExpectNothing(Utf8(data) + "\\mine\\ is in the data folder");
}

TEST_F(DoctorOfSelection, OneThatTheAutomaticExclusionsLeaveOutIncludesNothing)
{
    std::filesystem::create_directories(InTree(L"deeper"));
    WriteSelection(Below(InTree(L"deeper")));
    const std::wstring automatic = WriteSelection(L"automatic.xml", Below(tree, L"exclude=\"1\""));
    // A deeper inclusion wins, and an equally deep one does not.
    EXPECT_EQ(StateOf(Examined({L"--data", Path(L"selection.xml"), L"--auto-exclude", automatic}, End::Well),
                      "selection", "can be loaded"),
              "ok");
    WriteSelection(L"automatic.xml", Below(InTree(L"deeper"), L"exclude=\"1\""));
    ExpectNothing(Utf8(InTree(L"deeper\\")) + " is excluded", {L"--auto-exclude", automatic});
}

TEST_F(DoctorOfSelection, OneThatItsOwnExclusionsLeaveOutIncludesNothing)
{
    WriteSelection(TreeItem() + Below(tree, L"exclude=\"1\""));
    ExpectNothing(Utf8(InTree(L"")) + " is excluded");
}

TEST_F(DoctorOfSelection, OneOfWhichSomethingIsLeftIncludesIt)
{
    WriteSelection(TreeItem() + Below(InTree(L"out"), L"exclude=\"1\""));
    std::filesystem::create_directories(InTree(L"out"));
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "selection", "can be loaded; 2 rules"), "ok");
}

} // namespace
