// Hints at what a selection probably means, where its text says something else.
#include "tests/host/HostTest.h"
#include "tests/support/Said.h"

namespace
{

class SelectionHints : public HostTest
{
protected:
    // Returns the notes of an enumeration about the file, in their order.
    std::vector<std::string> Notes(const std::string& bytes, int code = 0)
    {
        folder.WriteBytes(L"selection.xml", bytes);
        HostProcess host({L"enumerate", L"--json", L"--data", Path(L"selection.xml"), L"--index", index});
        EXPECT_EQ(host.Finish(), code);
        std::vector<std::string> notes;
        for (const Json& note : OfType(host.Errors(), "note"))
            if (note.value("path", "") == Utf8(Path(L"selection.xml")))
                notes.push_back(note.at("message"));
        m_skipped = OfType(host.Records(), "skipped");
        return notes;
    }
    std::string Folder(const std::wstring& path, const std::wstring& more = L"") const
    {
        return Item(L"path=\"" + path + L"\" type=\"1\" includeSub=\"1\" " + more);
    }

    std::vector<Json> m_skipped; // of the last enumeration
};

TEST_F(SelectionHints, TextOutsideOfItemsIsNamedWithItsLine)
{
    const std::vector<std::string> notes =
        Notes("<Data>\n" + TreeItem() + "\nItem path=\"C:\\forgotten\"\n</Data>\n  left over");
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_TRUE(notes[0].starts_with("line 3, column 1: text outside of the items is not read: \"Item path="))
        << notes[0];
    EXPECT_TRUE(notes[1].starts_with("line 5, column 3: text behind the end of Data is not read: \"left over\""))
        << notes[1];
}

TEST_F(SelectionHints, AnAmpersandThatBeginsNothingIsNamed)
{
    Write(L"a.txt", "x");
    const std::vector<std::string> notes =
        Notes("<Data>\n" + TreeItem() + "\n" + Folder(InTree(L"R&D"), L"exclude=\"1\"") +
              Folder(InTree(L"A&amp;B"), L"exclude=\"1\"") + "</Data>");
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_TRUE(notes[0].starts_with("line 3, item 2: the value of \"path\" holds an ampersand")) << notes[0];
    EXPECT_TRUE(Says(notes[0], "&amp;")) << notes[0];
}

TEST_F(SelectionHints, AListOfWildcardsIsToldWhatIsProbablyMeant)
{
    const std::vector<std::string> notes = Notes("<Data>" + Folder(tree, L"mask=\"*.odt,*.txt\"") + "</Data>");
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_TRUE(Says(notes[0], "is \".odt;.txt\" meant?")) << notes[0];
}

TEST_F(SelectionHints, AVolumeThatNoDriveHasIsNamedOnce)
{
    const std::vector<std::string> notes =
        Notes("<Data>\n" + TreeItem() + "\n" + Folder(L"e:\\docs", L"vid=\"123456\" exclude=\"1\"") + "\n" +
                  Folder(L"e:\\mail", L"vid=\"123456\" exclude=\"1\"") + "</Data>",
              3);
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_TRUE(notes[0].starts_with("line 3, item 2: vid=\"123456\" is the number of no drive that is there"))
        << notes[0];
}

TEST_F(SelectionHints, ComeInTheOrderOfTheLinesWhateverTheyAre)
{
    const std::vector<std::string> notes =
        Notes("<Data>\n" + Folder(tree, L"flags=\"x\"") + "\n" + Folder(L"docs") + "\n" +
                  Folder(InTree(L"a"), L"flags=\"y\"") + "\n<item/>\n" + Folder(InTree(L"a"), L"exclude=\"1\"") + "\n" +
                  Folder(L"mail") + "\n</Data>\nend",
              3);
    ASSERT_EQ(notes.size(), 7u);
    for (std::size_t i = 0; i < notes.size(); ++i) {
        const char* const lines[] = {"line 2,", "line 3,", "line 4,", "line 4,", "line 5,", "line 7,", "line 9,"};
        EXPECT_TRUE(notes[i].starts_with(lines[i])) << notes[i];
    }
}

TEST_F(SelectionHints, AForgottenValueIsCalledThat)
{
    const std::string path = Utf8(tree);
    const std::pair<std::string, std::string> tried[] = {
        {"<Item path=\"" + path + "\" type=\"1\" includeSub=\"1\" mask=\"\"/>",
         "mask=\"\" has no value, and the rule applies to everything"},
        {"<Item path=\"" + path + "\" type=\"\" includeSub=\"1\"/>", "type=\"\" has no value and counts as 0"},
        {"<Item path=\"\" type=\"1\" includeSub=\"1\"/>", "path=\"\" has no value, and the item is no rule"},
        {"<Item path= type=\"1\" includeSub=\"1\"/>",
         "path= has no value: what stands behind it, type=\"1\", was taken for it"},
        {"<Item path=/>", "path= has no value, and the item is no rule"},
    };
    for (const auto& [item, words] : tried) {
        folder.WriteBytes(L"selection.xml", "<Data>" + item + "</Data>");
        HostProcess host(Explain({tree}));
        EXPECT_EQ(host.Finish(), 0) << item;
        bool said = false;
        std::string all;
        for (const Json& note : OfType(host.Errors(), "note")) {
            const std::string text = note.at("message");
            said = said || Says(text, "line 1, item 1: " + words);
            all += text + "\n";
        }
        EXPECT_TRUE(said) << item << "\n" << all;
    }
}

TEST_F(SelectionHints, WhatStandsInThePlaceOfARulesFileOrFolderIsSaid)
{
    Write(L"file", "x");
    std::filesystem::create_directories(InTree(L"folder"));
    const std::string items =
        "<Data>" + Item(L"path=\"" + InTree(L"folder") + L"\" type=\"0\"") + Folder(InTree(L"file")) + "</Data>";
    Notes(items, 3);
    std::map<std::string, std::string> reasons;
    for (const Json& record : m_skipped)
        reasons[record.at("path").get<std::string>()] = record.at("reason").get<std::string>();
    EXPECT_EQ(reasons, (std::map<std::string, std::string>{{Utf8(InTree(L"folder")), "isFolder"},
                                                           {Utf8(InTree(L"file\\")), "isFile"}}));
    for (const Arguments& arguments :
         {Arguments{L"enumerate", L"--data", Path(L"selection.xml"), L"--index", index},
          Arguments{L"watch", L"--data", Path(L"selection.xml"), L"--index", index, L"--until-quiet", L"0.1"},
          Arguments{L"estimate", L"--data", Path(L"selection.xml")}}) {
        HostProcess plain(arguments);
        EXPECT_EQ(plain.Finish(), 3);
        std::string all;
        for (const std::string& line : plain.OutputLines())
            all += line + "\n";
        EXPECT_TRUE(Says(all, "a folder is there, and its rule is for a single file")) << all;
        EXPECT_TRUE(Says(all, "a file is there, and its rule is for a folder")) << all;
        EXPECT_FALSE(Says(all, "not there")) << all;
    }
}

} // namespace
