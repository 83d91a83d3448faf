// A watch whose index, settings or dump is lost or damaged makes a full enumeration, and says why.
#include "tests/host/HostTest.h"

#include "companions/indexdb/OrbIndexDB.h"
#include "tests/support/Said.h"

#include <set>

namespace
{

class LostState : public HostTest
{
protected:
    // A watch that ends by itself when nothing more comes.
    static Arguments Short(const Arguments& more = {}) { return Joined({L"--until-quiet", L"0.5"}, more); }
    std::set<std::string> HandedOut(const Arguments& more = {})
    {
        HostProcess host(Watch(Short(more)));
        EXPECT_EQ(host.Finish(), 0);
        std::set<std::string> paths;
        for (const Json& record : OfType(host.Records(), "pending"))
            paths.insert(record.at("path"));
        notes.clear();
        for (const Json& note : host.Errors())
            notes += note.value("message", "") + "\n";
        return paths;
    }
    testing::AssertionResult IsSaid(const std::string& part) const { return Says(notes, part); }

    // Two files that the index holds as they are.
    std::set<std::string> RecordTwo()
    {
        const std::set<std::string> two{Utf8(Write(L"one.txt", "1")), Utf8(Write(L"two.txt", "2"))};
        const std::set<std::string> recorded = HandedOut({L"--enumerate", L"--record"});
        EXPECT_TRUE(HoldsAll(recorded, two));
        EXPECT_TRUE(HandedOut({L"--record"}).empty());
        return two;
    }
    // A file that the last watch has left pending, and that nothing but the dump knows of.
    std::string LeavePending()
    {
        const auto watch = StartWatch({L"--collect"});
        const std::string path = Utf8(Write(L"pending.txt", "p"));
        EXPECT_FALSE(watch->WaitForType("collected").empty());
        watch->Interrupt();
        EXPECT_EQ(watch->Finish(), 130);
        EXPECT_FALSE(Dump().empty());
        return path;
    }
    // Paths of watched drives come with a small letter.
    static std::string Folded(std::string path)
    {
        path[0] = static_cast<char>(path[0] | 0x20);
        return path;
    }
    static bool HoldsAll(const std::set<std::string>& held, const std::set<std::string>& wanted)
    {
        std::set<std::string> folded;
        for (const std::string& path : held)
            folded.insert(Folded(path));
        for (const std::string& path : wanted)
            if (!folded.contains(Folded(path)))
                return false;
        return true;
    }

    std::string Dump() const { return folder.ReadBytes(L"data\\watcher_dump.bin"); }
    void WriteDump(const std::string& bytes) const { folder.WriteBytes(L"data\\watcher_dump.bin", bytes); }
    void RemoveDumpNote() const
    {
        Json settings = Json::parse(folder.ReadBytes(L"data\\ServiceRunSettings.json"));
        EXPECT_EQ(settings["Backup"].erase("Dump"), 1u);
        folder.WriteBytes(L"data\\ServiceRunSettings.json", settings.dump());
    }
    static std::string Units(const std::wstring& text)
    {
        return std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
    }
    void RemoveIndex() const
    {
        for (const wchar_t* ending : {L"", L"-wal", L"-shm"})
            std::filesystem::remove(index + ending);
    }
    std::size_t PutAside() const
    {
        std::size_t count = 0;
        for (const auto& entry : std::filesystem::directory_iterator(data))
            count += entry.path().filename().wstring().find(L".bad") != std::wstring::npos;
        return count;
    }

    std::string notes; // of the last watch
};

TEST_F(LostState, WithANewDataFolderAndIndexEverythingIsHandedOutOnce)
{
    ForgetUse();
    const std::set<std::string> two{Utf8(Write(L"one.txt", "1")), Utf8(Write(L"two.txt", "2"))};
    EXPECT_TRUE(HoldsAll(HandedOut({L"--record"}), two));
    EXPECT_TRUE(IsSaid("the index is new"));
    EXPECT_FALSE(IsSaid("dump"));
    EXPECT_TRUE(HandedOut({L"--record"}).empty());
    EXPECT_EQ(notes, "");
}

TEST_F(LostState, ADeletedIndexMakesEverythingNewAgain)
{
    const std::set<std::string> two = RecordTwo();
    RemoveIndex();
    EXPECT_TRUE(HoldsAll(HandedOut({L"--record"}), two));
    EXPECT_TRUE(IsSaid("the index of the last run is lost"));
    EXPECT_TRUE(HandedOut({L"--record"}).empty());
}

TEST_F(LostState, AnEmptyFileInThePlaceOfTheIndexMakesEverythingNewAgain)
{
    const std::set<std::string> two = RecordTwo();
    RemoveIndex();
    folder.WriteBytes(L"index.db", "");
    EXPECT_TRUE(HoldsAll(HandedOut({L"--record"}), two));
    EXPECT_TRUE(IsSaid("the index was an empty file"));
}

TEST_F(LostState, AnotherIndexInThePlaceOfTheIndexMakesEverythingNewAgain)
{
    const std::set<std::string> two = RecordTwo();
    RemoveIndex();
    {
        CIndexDB other;
        other.SetDBFilePath(index.c_str());
        ASSERT_TRUE(other.Open(1, 0, 0));
    }
    EXPECT_TRUE(HoldsAll(HandedOut({L"--record"}), two));
    EXPECT_TRUE(IsSaid("is not the one of the last run"));
    EXPECT_TRUE(HandedOut({L"--record"}).empty());
}

TEST_F(LostState, AWatchThatOnlyCollectsLeavesWhatALostIndexMakesNewForTheNextOne)
{
    const std::set<std::string> two = RecordTwo();
    RemoveIndex();
    HandedOut({L"--collect"});
    EXPECT_TRUE(IsSaid("the index of the last run is lost"));
    EXPECT_TRUE(HoldsAll(HandedOut({L"--record"}), two));
}

TEST_F(LostState, AKillRightAfterTheIndexWasMadeDoesNotHideThatItIsNew)
{
    const std::set<std::string> two = RecordTwo();
    RemoveIndex();
    {
        const auto killed = StartWatch({L"--collect"});
        EXPECT_EQ(killed->Finish(std::chrono::milliseconds(0)), -1);
    }
    EXPECT_TRUE(HoldsAll(HandedOut({L"--record"}), two));
}

TEST_F(LostState, TheNoteAfterAKillSaysThatAWatchWasKilled)
{
    RecordTwo();
    {
        const auto killed = StartWatch({L"--collect"});
        EXPECT_EQ(killed->Finish(std::chrono::milliseconds(0)), -1);
    }
    HandedOut({L"--record"});
    EXPECT_TRUE(IsSaid("looked at again, because a watch was killed or crashed"));
}

TEST_F(LostState, ANewDataFolderLooksAtEverythingAndHandsOutWhatTheIndexDoesNotHold)
{
    RecordTwo();
    const std::string third = Utf8(Write(L"three.txt", "3"));
    std::filesystem::remove_all(data);
    const std::set<std::string> came = HandedOut({L"--record"});
    EXPECT_EQ(came.size(), 1u);
    EXPECT_TRUE(HoldsAll(came, {third}));
    EXPECT_TRUE(IsSaid("no full enumeration is noted as complete here"));
}

TEST_F(LostState, AnAdditionThatMakesTheIndexLeavesTheFirstEnumerationToTheWatch)
{
    ForgetUse();
    const std::string one = Utf8(Write(L"one.txt", "1"));
    std::filesystem::create_directories(Path(L"elsewhere"));
    WriteSelection(L"new.xml", Item(L"path=\"" + Path(L"elsewhere") + L"\" type=\"1\" includeSub=\"1\""));
    HostProcess add(
        {L"add", L"--json", L"--data", Path(L"selection.xml"), L"--index", index, L"--rules", Path(L"new.xml")});
    EXPECT_EQ(add.Finish(), 0);
    EXPECT_TRUE(HoldsAll(HandedOut(), {one}));
}

TEST_F(LostState, WhatAnEditedSelectionIncludesNowIsHandedOut)
{
    RecordTwo();
    folder.WriteBytes(L"more\\there already.txt", "m");
    WriteSelection(TreeItem() + Item(L"path=\"" + Path(L"more") + L"\" type=\"1\" includeSub=\"1\""));
    EXPECT_TRUE(HoldsAll(HandedOut({L"--record"}), {Utf8(Path(L"more\\there already.txt"))})) << notes;
    EXPECT_TRUE(IsSaid("The selection is not as it was when it was last looked at")) << notes;
    EXPECT_TRUE(HandedOut({L"--record"}).empty());
    EXPECT_FALSE(IsSaid("The selection is not as it was")) << notes;
}

TEST_F(LostState, WhatLayInADestinationThatIsNoneAnyMoreIsHandedOut)
{
    const std::string below = Utf8(Write(L"wrong\\a.txt", "a"));
    EXPECT_FALSE(HoldsAll(HandedOut({L"--enumerate", L"--record", L"--destination", InTree(L"wrong")}), {below}));
    EXPECT_TRUE(HoldsAll(HandedOut({L"--record"}), {below}));
    EXPECT_TRUE(IsSaid("is no destination any more")) << notes;
    EXPECT_TRUE(HandedOut({L"--record"}).empty());
    EXPECT_EQ(notes, "");
}

TEST_F(LostState, WhatLayInTheDestinationOfTheSettingsIsHandedOutWhenTheyAreCorrected)
{
    const std::string below = Utf8(Write(L"wrong\\a.txt", "a"));
    std::filesystem::create_directories(InTree(L"right"));
    const auto set = [&](const wchar_t* name) {
        folder.WriteBytes(L"data\\UserConfigurations.json", Json{{"Backup", {{"path", Utf8(InTree(name))}}}}.dump());
    };
    set(L"wrong");
    EXPECT_FALSE(HoldsAll(HandedOut({L"--enumerate", L"--record"}), {below}));
    set(L"right");
    EXPECT_TRUE(HoldsAll(HandedOut({L"--record"}), {below}));
    EXPECT_TRUE(IsSaid("is no destination any more")) << notes;
}

TEST_F(LostState, WhatAnEnumerationLeftOutForItsDestinationIsHandedOutByTheFirstWatch)
{
    ForgetUse();
    const std::string below = Utf8(Write(L"wrong\\a.txt", "a"));
    HostProcess enumeration({L"enumerate", L"--json", L"--data", Path(L"selection.xml"), L"--index", index, L"--record",
                             L"--destination", InTree(L"wrong")});
    EXPECT_EQ(enumeration.Finish(), 0);
    EXPECT_TRUE(HoldsAll(HandedOut({L"--record"}), {below}));
}

TEST_F(LostState, ADestinationThatKeepsMoreOutMakesNothingDue)
{
    RecordTwo();
    std::filesystem::create_directories(InTree(L"wrong\\deeper"));
    HandedOut({L"--record", L"--destination", InTree(L"wrong\\deeper")});
    HandedOut({L"--record", L"--destination", InTree(L"wrong")});
    EXPECT_FALSE(IsSaid("destination")) << notes;
}

TEST_F(LostState, ARootThatLeftTheSelectionIsDueNoMoreAndIsLookedAtWhenItReturns)
{
    RecordTwo();
    Json settings = Json::parse(folder.ReadBytes(L"data\\ServiceRunSettings.json"));
    settings["Backup"]["RescansDue"] = "g:\\";
    folder.WriteBytes(L"data\\ServiceRunSettings.json", settings.dump());
    const auto exported = [&] {
        HostProcess host(
            {L"export", L"--json", L"--data", Path(L"selection.xml"), L"--index", index, L"--to", Path(L"list.xml")});
        return host.Finish();
    };
    EXPECT_EQ(exported(), 0);
    HandedOut({L"--record"});
    settings = Json::parse(folder.ReadBytes(L"data\\ServiceRunSettings.json"));
    EXPECT_EQ(settings["Backup"]["RescansDue"], "");
    EXPECT_NE(settings["Backup"]["FirstTimeRunTime"], 0);
    EXPECT_EQ(exported(), 0);
    const std::wstring there = FolderOfDrive('g') + L"\\left and returned";
    std::filesystem::create_directories(there);
    std::ofstream(std::filesystem::path(there + L"\\a.txt")) << "x";
    WriteSelection(TreeItem() + Item(L"path=\"G:\\left and returned\" type=\"1\" includeSub=\"1\""));
    EXPECT_TRUE(HoldsAll(HandedOut({L"--record"}), {"g:\\left and returned\\a.txt"})) << notes;
    std::filesystem::remove_all(there);
}

TEST_F(LostState, AnUndamagedDumpMakesNothingDue)
{
    RecordTwo();
    const std::string pending = LeavePending();
    const std::set<std::string> came = HandedOut({L"--record"});
    EXPECT_EQ(came.size(), 1u);
    EXPECT_TRUE(HoldsAll(came, {pending}));
    EXPECT_EQ(notes, "");
}

TEST_F(LostState, AMissingDumpIsMadeUpFor)
{
    const std::string pending = LeavePending();
    std::filesystem::remove(data + L"\\watcher_dump.bin");
    EXPECT_TRUE(HoldsAll(HandedOut(), {pending}));
    EXPECT_TRUE(IsSaid("it is missing"));
}

TEST_F(LostState, AShorterLongerOrChangedDumpIsMadeUpFor)
{
    for (const char* how : {"shorter", "longer", "changed"}) {
        const std::string pending = LeavePending();
        std::string bytes = Dump();
        if (*how == 's')
            bytes.resize(bytes.size() - 2);
        else if (*how == 'l')
            bytes += Units(L"C:\\elsewhere\n");
        else
            bytes[bytes.size() - 8] ^= 1;
        WriteDump(bytes);
        EXPECT_TRUE(HoldsAll(HandedOut(), {pending})) << how;
        EXPECT_TRUE(IsSaid(how)) << how << notes;
        std::filesystem::remove(InTree(L"pending.txt"));
        HandedOut();
    }
}

TEST_F(LostState, ADumpThatIsLostTogetherWithItsNoteIsMadeUpFor)
{
    const std::string pending = LeavePending();
    std::filesystem::remove(data + L"\\watcher_dump.bin");
    RemoveDumpNote();
    EXPECT_TRUE(HoldsAll(HandedOut(), {pending}));
    EXPECT_TRUE(IsSaid("it is missing, and its note in the settings is lost")) << notes;
    HandedOut();
    EXPECT_EQ(notes, "");
}

TEST_F(LostState, ADumpWithoutItsNoteIsReplayedAndMadeUpFor)
{
    const std::string pending = LeavePending();
    const std::string other = Utf8(Write(L"other.txt", "o"));
    RemoveDumpNote();
    EXPECT_TRUE(HoldsAll(HandedOut(), {pending, other}));
    EXPECT_TRUE(IsSaid("its note in the settings is lost")) << notes;
}

TEST_F(LostState, ADumpOfAnotherKindIsMadeUpFor)
{
    const std::string pending = LeavePending();
    WriteDump("my letter");
    EXPECT_TRUE(HoldsAll(HandedOut(), {pending}));
    EXPECT_TRUE(IsSaid("is not as the last run left it"));
}

TEST_F(LostState, DamagedSettingsAreMadeUpForAndKeptEachUnderANameOfItsOwn)
{
    std::size_t kept = 0;
    for (const char* damage : {"cut", "", "hello", "[1]"}) {
        const std::string pending = LeavePending();
        std::filesystem::remove(data + L"\\watcher_dump.bin");
        const std::string before = folder.ReadBytes(L"data\\ServiceRunSettings.json");
        const std::string bytes = *damage == 'c' ? before.substr(0, before.size() - 20) : damage;
        folder.WriteBytes(L"data\\ServiceRunSettings.json", bytes);
        EXPECT_TRUE(HoldsAll(HandedOut(), {pending})) << damage;
        EXPECT_TRUE(IsSaid("are damaged")) << damage;
        EXPECT_EQ(PutAside(), ++kept) << damage;
        EXPECT_NE(folder.ReadBytes(L"data\\ServiceRunSettings.json").find("selection.xml"), std::string::npos);
        std::filesystem::remove(InTree(L"pending.txt"));
        HandedOut();
    }
    EXPECT_EQ(folder.ReadBytes(L"data\\ServiceRunSettings.json.bad2"), "");
    EXPECT_EQ(folder.ReadBytes(L"data\\ServiceRunSettings.json.bad4"), "[1]");
}

TEST_F(LostState, ADamagedSettingsFileGivesTheFolderToTheNextWatchWhichLooksAtEverything)
{
    const std::string pending = LeavePending();
    folder.WriteBytes(L"data\\ServiceRunSettings.json", "{");
    std::filesystem::create_directories(Path(L"other"));
    folder.WriteBytes(L"other\\old.txt", "x");
    WriteSelection(L"other.xml", Item(L"path=\"" + Path(L"other") + L"\" type=\"1\" includeSub=\"1\""));
    HostProcess other(
        {L"watch", L"--json", L"--data", Path(L"other.xml"), L"--index", Path(L"other.db"), L"--until-quiet", L"0.5"});
    EXPECT_FALSE(other.WaitForPath(Path(L"other\\old.txt")).empty());
    EXPECT_EQ(other.Finish(), 0);
    HostProcess refused(Watch(Short()));
    EXPECT_EQ(refused.Finish(), 2);
    EXPECT_TRUE(HoldsAll(HandedOut({L"--take-over"}), {pending}));
}

} // namespace
