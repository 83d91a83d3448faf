// The contents of a new folder.
#include "companions/settings/OrbSettings.h"
#include "orbwatcher4/filter/FilterAccess.h"
#include "tests/orbwatcher4/AttributeQuestions.h"
#include "tests/orbwatcher4/WatcherFixture.h"

namespace
{

class Expansion : public WatcherFixture
{
protected:
    Expansion() { SelectTree(); }
};

TEST_F(Expansion, ALinkToAFolderIsNotEntered)
{
    Write(L"elsewhere\\inside.txt");
    Write(L"new\\plain.txt");
    ASSERT_TRUE(MakeLink(InTree(L"new\\link").GetString(), InTree(L"elsewhere").GetString()));
    Handler().OnFileAdded(InTree(L"new"));
    EXPECT_TRUE(Pending(InTree(L"new\\plain.txt")));
    EXPECT_FALSE(Pending(InTree(L"new\\link\\inside.txt")));
    EXPECT_TRUE(RemoveLink(InTree(L"new\\link").GetString()));
}

TEST_F(Expansion, LinksInACircleEnd)
{
    Write(L"new\\plain.txt");
    for (const wchar_t* name : {L"new\\first", L"new\\second"})
        ASSERT_TRUE(MakeLink(InTree(name).GetString(), InTree(L"new").GetString()));
    Handler().OnFileAdded(InTree(L"new"));
    EXPECT_FALSE(Pending(InTree(L"new\\first\\plain.txt")));
    EXPECT_FALSE(Pending(InTree(L"new\\first\\second\\plain.txt")));
    for (const wchar_t* name : {L"new\\first", L"new\\second"})
        EXPECT_TRUE(RemoveLink(InTree(name).GetString()));
}

TEST_F(Expansion, ARememberedLinkToAFolderAboveItselfEnds)
{
    const CString plain = Write(L"new\\plain.txt");
    const CString link = InTree(L"new\\link");
    ASSERT_TRUE(MakeLink(link.GetString(), InTree(L"new").GetString()));
    FilterAccess::MemoryOf(Parts().selection.primary).Remember(link, InTree(L"new"));
    int events = 0;
    const std::uint64_t sink = g_OrbLog.AddSink([&](const LogLine&) {
        if (++events > 10000) // each level of a recursion writes lines
            Parts().stop.SetEvent();
    });
    Handler().OnFileAdded(InTree(L"new"));
    g_OrbLog.RemoveSink(sink);
    EXPECT_TRUE(Pending(plain));
    EXPECT_FALSE(Parts().stop.IsSet());
    Parts().stop.ResetEvent();
    EXPECT_TRUE(RemoveLink(link.GetString()));
}

TEST_F(Expansion, TheListOfTheFolderSavesTheQuestionsForTheAttributesOfItsFiles)
{
    const CString file = Write(L"new\\plain.txt");
    const AttributeQuestions questions(L"plain.txt");
    Handler().OnFileAdded(InTree(L"new"));
    EXPECT_EQ(questions.Asked(), 0);
    EXPECT_TRUE(Pending(file));
}

TEST_F(Expansion, AFolderThatIsSwappedForAnotherBringsItsFiles)
{
    const CString file = Write(L"d\\f.txt", "old");
    Record(InTree(L"d"));
    RecordWithTime(file, 1);
    Write(L"d.new\\f.txt", "new contents");
    ASSERT_TRUE(MoveFileW(InTree(L"d"), InTree(L"d.old")));
    ASSERT_TRUE(MoveFileW(InTree(L"d.new"), InTree(L"d")));
    // Both moves are over before the first of them is told.
    Handler().OnFileNameChanged(InTree(L"d"), InTree(L"d.old"));
    Handler().OnFileNameChanged(InTree(L"d.new"), InTree(L"d"));
    EXPECT_TRUE(Pending(file));
}

TEST_F(Expansion, AFolderInThePlaceOfABackedUpFileIsTaken)
{
    const CString path = Write(L"a");
    Record(path);
    ASSERT_TRUE(DeleteFileW(path));
    MakeFolder(L"a");
    Handler().OnFileAdded(path);
    EXPECT_TRUE(Pending(path + L"\\"));
}

TEST_F(Expansion, AFolderInThePlaceOfARemovedJunctionIsTakenByItsOwnName)
{
    for (const wchar_t* removed : {L"d\\j", L"d"}) {
        FilterAccess::MemoryOf(Parts().selection.primary).Remember(InTree(L"d\\j"), InTree(L"elsewhere"));
        Handler().OnFileRemoved(InTree(removed));
        const CString file = Write(L"d\\j\\f.txt");
        Handler().OnFileAdded(InTree(removed));
        EXPECT_TRUE(Pending(file)) << Narrow(std::wstring_view(removed));
        watcher.ClearNotifications();
        std::filesystem::remove_all(InTree(L"d").GetString());
    }
}

TEST_F(Expansion, AFolderAboveTheSelectionBringsWhatIsSelectedInIt)
{
    const std::wstring above(InTree(L"above"));
    Select(Item(L"path=\"" + above + L"\\deep\\in\" type=\"1\" includeSub=\"1\"") +
           Item(L"path=\"" + above + L"\\single.txt\""));
    const CString inside = Write(L"above\\deep\\in\\sub\\f.txt"), single = Write(L"above\\single.txt");
    Write(L"above\\other.txt");
    Handler().OnFileNameChanged(InTree(L"before"), InTree(L"ABOVE"));
    EXPECT_TRUE(Pending(inside));
    EXPECT_TRUE(Pending(single));
    EXPECT_FALSE(Pending(InTree(L"above\\other.txt")));
}

TEST_F(Expansion, AnExcludedFolderBringsWhatIsSelectedDeeperInIt)
{
    const std::wstring excluded(InTree(L"x"));
    Select(TreeItem() + Item(L"path=\"" + excluded + L"\" type=\"1\" includeSub=\"1\" exclude=\"1\"") +
           Item(L"path=\"" + excluded + L"\\in\" type=\"1\" includeSub=\"1\""));
    const CString inside = Write(L"x\\in\\f.txt"), outside = Write(L"x\\f.txt");
    Handler().OnFileAdded(InTree(L"x"));
    EXPECT_TRUE(Pending(inside));
    EXPECT_FALSE(Pending(outside));
}

class MaskedExpansion : public WatcherFixture
{
protected:
    std::string Masked(const wchar_t* mask)
    {
        return Item(L"path=\"" + std::wstring(tree) + L"\" type=\"1\" includeSub=\"1\" mask=\"" + mask + L"\"");
    }
};

TEST_F(MaskedExpansion, AFolderBelowAnIncludeWithAMaskBringsTheFilesThatTheMaskNames)
{
    Select(Masked(L".doc"));
    const CString document = Write(L"new\\deep\\a.doc"), other = Write(L"new\\deep\\a.txt");
    Handler().OnFileAdded(InTree(L"new"));
    EXPECT_TRUE(Pending(document));
    EXPECT_FALSE(Pending(other));
    EXPECT_FALSE(Pending(InTree(L"new\\"))) << "a folder that is not selected itself gets no entry";
    EXPECT_FALSE(Pending(InTree(L"new\\deep\\")));
}

TEST_F(MaskedExpansion, AFolderThatIsRenamedThereBringsThemUnderTheirNewNames)
{
    Select(Masked(L".doc"));
    Write(L"old\\a.doc");
    ASSERT_TRUE(MoveFileW(InTree(L"old"), InTree(L"new")));
    Handler().OnFileNameChanged(InTree(L"old"), InTree(L"new"));
    EXPECT_TRUE(Pending(InTree(L"new\\a.doc")));
}

TEST_F(MaskedExpansion, ANewRuleWithAMaskQueuesWhatItNames)
{
    Select("");
    const CString document = Write(L"deep\\a.doc"), other = Write(L"deep\\a.txt");
    const CString rules = WriteRules(L"new.xml", Masked(L".doc"));
    EXPECT_EQ(watcher.AddNewQueueItem(rules, false, nullptr, 0), RulesQueued);
    EXPECT_TRUE(Pending(document));
    EXPECT_FALSE(Pending(other));
}

TEST_F(MaskedExpansion, AFolderBelowAnAdvancedIncludeBringsTheFilesThatItNames)
{
    watcher.SetAdvancedFiltersPath(WriteRules(
        L"advanced.xml", Item(L"path=\"" + std::wstring(tree) + L"\" type=\"1\" includeSub=\"1\" mask=\".doc\"")));
    SelectTree();
    const CString document = Write(L"new\\deep\\a.doc"), other = Write(L"new\\deep\\a.txt");
    Handler().OnFileAdded(InTree(L"new"));
    EXPECT_TRUE(Pending(document));
    EXPECT_FALSE(Pending(other));
}

TEST_F(MaskedExpansion, ARememberedLinkToAFolderAboveIsNotEnteredThereEither)
{
    Select(Masked(L".doc"));
    const CString document = Write(L"new\\a.doc"), link = InTree(L"new\\link");
    ASSERT_TRUE(MakeLink(link.GetString(), InTree(L"new").GetString()));
    FilterAccess::MemoryOf(Parts().selection.primary).Remember(link, InTree(L"new"));
    Handler().OnFileAdded(InTree(L"new"));
    EXPECT_TRUE(Pending(document));
    EXPECT_EQ(watcher.GetTotalFilesInMem(), 1);
    EXPECT_TRUE(RemoveLink(link.GetString()));
}

} // namespace
