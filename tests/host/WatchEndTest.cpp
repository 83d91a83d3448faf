// How a watch ends, and what the next one finds.
#include "tests/host/HostTest.h"

#include <set>

namespace
{

class WatchEnd : public HostTest
{
protected:
    static bool HasNote(const HostProcess& host, const std::string& message, const std::string& path)
    {
        for (const Json& note : OfType(host.Errors(), "note"))
            if (note.at("message").get<std::string>().find(message) != std::string::npos &&
                note.value("path", "") == path)
                return true;
        return false;
    }
    // A watch that collects until this many are pending, and is then interrupted.
    void CollectAndInterrupt(HostProcess& host, int pending)
    {
        const Json collected = host.WaitFor([&](const Json& record) {
            return record.value("type", "") == "collected" && record.value("pending", 0) == pending;
        });
        ASSERT_FALSE(collected.empty());
        host.Interrupt();
        ASSERT_EQ(host.Finish(), 130);
        EXPECT_EQ(host.Records().back().at("pending"), pending);
        EXPECT_EQ(host.Records().back().at("exit"), 130);
    }
    std::wstring Dump() const { return data + L"\\watcher_dump.bin"; }
};

TEST_F(WatchEnd, AQuietTimeEndsWithZero)
{
    HostProcess host(Watch({L"--until-quiet", L"0.2"}));
    EXPECT_EQ(host.Finish(), 0);
    const std::vector<Json> records = host.Records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[1].at("type"), "summary");
    EXPECT_EQ(records[1].at("handedOut"), 0);
    EXPECT_EQ(records[1].at("exit"), 0);
    EXPECT_TRUE(host.Errors().empty());
}

TEST_F(WatchEnd, TheTimeLimitEndsWithFour)
{
    HostProcess host(Watch({L"--timeout", L"0.5"}));
    EXPECT_EQ(host.Finish(), 4);
    EXPECT_EQ(host.Records().back().at("exit"), 4);
}

TEST_F(WatchEnd, WhatAKilledRunHeldAndWhatChangedSinceIsFoundByTheNext)
{
    const auto killed = StartWatch({L"--collect"});
    const std::wstring held = Write(L"held.txt", "a");
    ASSERT_FALSE(killed->WaitForType("collected").empty());
    EXPECT_EQ(killed->Finish(std::chrono::milliseconds(0)), -1);
    const std::wstring missed = Write(L"missed.txt", "b");
    const auto next = StartWatch({});
    EXPECT_FALSE(next->WaitForPath(held).empty());
    EXPECT_FALSE(next->WaitForPath(missed).empty());
}

TEST_F(WatchEnd, AfterAnInterruptionWhatWasPendingComesFirstAndOnce)
{
    {
        const auto host = StartWatch({L"--collect"});
        Write(L"a.txt", "a");
        Write(L"b.txt", "b");
        CollectAndInterrupt(*host, 2);
        EXPECT_TRUE(OfType(host->Records(), "pending").empty());
        EXPECT_TRUE(std::filesystem::exists(Dump()));
    }
    // One of the two is taken; the other waits once more.
    std::set<std::string> came;
    {
        HostProcess host(Watch({L"--max-events", L"1"}));
        ASSERT_EQ(host.Finish(), 0);
        ASSERT_EQ(host.Records().size(), 3u);
        came.insert(host.Records()[1].at("path").get<std::string>());
        EXPECT_EQ(host.Records().back().at("pending"), 1);
    }
    const auto host = StartWatch({});
    const Json first = host->WaitForType("pending");
    came.insert(first.value("path", ""));
    EXPECT_EQ(first.value("seq", 0), 2);
    EXPECT_EQ(came, (std::set<std::string>{Utf8(InTree(L"a.txt")), Utf8(InTree(L"b.txt"))}));
    EXPECT_FALSE(std::filesystem::exists(Dump()));
    const std::wstring next = Write(L"c.txt", "c");
    EXPECT_FALSE(host->WaitForPath(next).empty());
    host->Interrupt();
    EXPECT_EQ(host->Finish(), 130);
}

// A watch of this process.
class Watching
{
public:
    explicit Watching(const std::wstring& folder)
        : m_directory(CreateFileW(folder.c_str(), FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr))
    {
        Read();
    }
    ~Watching()
    {
        CancelIoEx(m_directory.Get(), &m_overlapped);
        DWORD bytes = 0;
        GetOverlappedResult(m_directory.Get(), &m_overlapped, &bytes, TRUE);
    }
    Watching(const Watching&) = delete;
    Watching& operator=(const Watching&) = delete;
    bool Begun() const { return m_begun; }
    // Until a name that ends so is told of; false after the time.
    bool WaitFor(const std::wstring& ending)
    {
        while (m_begun && WaitForSingleObject(m_event.Get(), 30000) == WAIT_OBJECT_0) {
            const auto* record = reinterpret_cast<const FILE_NOTIFY_INFORMATION*>(m_buffer);
            const bool found =
                std::wstring(record->FileName, record->FileNameLength / sizeof(wchar_t)).ends_with(ending);
            Read();
            if (found)
                return true;
        }
        return false;
    }

private:
    void Read()
    {
        m_begun = ReadDirectoryChangesW(m_directory.Get(), m_buffer, sizeof m_buffer, TRUE,
                                        FILE_NOTIFY_CHANGE_FILE_NAME, nullptr, &m_overlapped, nullptr) != FALSE;
    }

    const KernelHandle m_event{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    OVERLAPPED m_overlapped = {0, 0, {{0, 0}}, m_event.Get()};
    alignas(8) char m_buffer[1024];
    const FileHandle m_directory;
    bool m_begun = false;
};

TEST_F(WatchEnd, WhatTellsOfFilesInTheDataFolderIsItsOwnersAlone)
{
    HostProcess host(Watch({L"--collect", L"--log-level", L"all"}));
    ASSERT_FALSE(host.WaitForType("ready").empty());
    Write(L"a.txt", "x");
    ASSERT_FALSE(host.WaitForType("collected").empty());
    host.Interrupt();
    EXPECT_EQ(host.Finish(), 130);
    std::set<std::wstring> files;
    for (const auto& entry : std::filesystem::directory_iterator(data)) {
        files.insert(entry.path().filename().wstring());
        EXPECT_TRUE(OnlyItsOwnerReads(entry.path().wstring())) << entry.path();
    }
    EXPECT_TRUE(files.contains(L"OrbWatcher.log"));
    EXPECT_TRUE(files.contains(L"watcher_dump.bin"));
}

TEST_F(WatchEnd, DeepFoldersAreWatchedAgainByTheNextRunWhileAnotherProgramWatchesElsewhere)
{
    std::filesystem::create_directories(Path(L"elsewhere"));
    const Watching elsewhere(Path(L"elsewhere"));
    ASSERT_TRUE(elsewhere.Begun());
    Write(L"one\\two\\three\\before.txt", "x");
    WriteSelection(TreeItem() + Item(L"path=\"" + InTree(L"one\\two") + L"\" type=\"1\" includeSub=\"1\""));
    for (const wchar_t* name : {L"one\\two\\three\\first.txt", L"one\\two\\three\\second.txt"}) {
        const auto host = StartWatch({});
        EXPECT_FALSE(host->WaitForPath(Write(name, "x")).empty()) << Utf8(name);
        host->Interrupt();
        EXPECT_EQ(host->Finish(), 130);
    }
}

TEST_F(WatchEnd, ARunLeavesNoFolderBehindThatTheNextWatcherHearsNothingFrom)
{
    std::filesystem::create_directories(Path(L"elsewhere"));
    const Watching elsewhere(Path(L"elsewhere"));
    ASSERT_TRUE(elsewhere.Begun());
    Write(L"one\\two\\before.txt", "x");
    {
        const auto host = StartWatch({});
        host->Interrupt();
        EXPECT_EQ(host->Finish(), 130);
    }
    Watching next(tree.substr(0, 3));
    ASSERT_TRUE(next.Begun());
    // Opening the folders is all that it takes.
    for (std::size_t slash = tree.find(L'\\', 3); slash != std::wstring::npos; slash = tree.find(L'\\', slash + 1))
        std::filesystem::directory_iterator(tree.substr(0, slash + 1));
    for (const wchar_t* name : {L"", L"one", L"one\\two"})
        std::filesystem::directory_iterator{InTree(name)};
    Write(L"one\\two\\after.txt", "x");
    EXPECT_TRUE(next.WaitFor(L"after.txt"));
}

TEST_F(WatchEnd, AFileThatVanishedBeforeTheHandOutDoesNotCome)
{
    const auto host = StartWatch({L"--collect"});
    const std::wstring path = Write(L"gone.txt", "x");
    const auto pending = [&](int count) {
        return !host->WaitFor([&](const Json& record) {
                        return record.value("type", "") == "collected" && record.value("pending", -1) == count;
                    })
                    .empty();
    };
    ASSERT_TRUE(pending(1));
    std::filesystem::remove(path);
    ASSERT_TRUE(pending(0));
    host->Interrupt();
    EXPECT_EQ(host->Finish(), 130);
    EXPECT_FALSE(std::filesystem::exists(Dump()));
}

TEST_F(WatchEnd, AFileThatNobodyMayReadComesWithoutATimeAndTheCodeSaysSo)
{
    const auto host = StartWatch({L"--record", L"--max-events", L"1"});
    const std::wstring path = InTree(L"taken.txt");
    const FileHandle owner(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    ASSERT_TRUE(owner);
    const Json pending = host->WaitForPath(path);
    EXPECT_TRUE(pending.contains("modified") && pending.at("modified").is_null());
    EXPECT_EQ(host->Finish(), 3);
    EXPECT_TRUE(HasNote(*host, "cannot be read now", Utf8(path)));
}

// The drive R:, with a folder "docs".
class DriveR
{
public:
    DriveR() : m_volume(MakeVolume(L"watch-end", 0x5A5A1234))
    {
        std::filesystem::create_directories(m_volume + L"\\docs");
        EXPECT_TRUE(AttachDrive('r', m_volume.c_str()));
    }
    ~DriveR()
    {
        Detach();
        std::filesystem::remove_all(m_volume);
    }
    DriveR(const DriveR&) = delete;
    DriveR& operator=(const DriveR&) = delete;
    void Detach() { EXPECT_TRUE(DetachDrive('r')); }

private:
    const std::wstring m_volume;
};

TEST_F(WatchEnd, AFileThatNobodyMayReadIsPendingForTheNextStartWhenItsDriveIsAwayAtTheEnd)
{
    DriveR drive;
    WriteSelection(Item(LR"(path="R:\docs" type="1" includeSub="1")"));
    const auto host = StartWatch({L"--record"});
    const std::wstring path = LR"(R:\docs\taken.txt)";
    FileHandle owner(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    ASSERT_TRUE(owner);
    ASSERT_FALSE(host->WaitForPath(path).empty());
    ASSERT_FALSE(host->WaitForError(path).empty());
    owner.Reset();
    drive.Detach();
    host->Interrupt();
    EXPECT_EQ(host->Finish(), 130);
    EXPECT_EQ(host->Records().back().at("pending"), 1);
    EXPECT_TRUE(std::filesystem::exists(Dump()));
}

TEST_F(WatchEnd, ARootThatIsNotThereIsNamedAndTheCodeSaysSo)
{
    WriteSelection(TreeItem() + Item(LR"(path="Q:\docs" type="1" includeSub="1")"));
    HostProcess host(Watch({L"--until-quiet", L"0.2"}));
    EXPECT_EQ(host.Finish(), 3);
    EXPECT_TRUE(HasNote(host, "not there", "q:\\"));
    EXPECT_EQ(host.Records().front().at("roots"), Json::array({"c:\\"}));
}

TEST_F(WatchEnd, ASelectionThatIncludesNothingIsSaidAndGoesOn)
{
    WriteSelection(Item(L"path=\"" + tree + L"\" type=\"1\" includeSub=\"1\" exclude=\"1\""));
    HostProcess host(Watch({L"--until-quiet", L"0.2"}));
    EXPECT_EQ(host.Finish(), 3);
    EXPECT_TRUE(HasNote(host, "includes nothing", ""));
}

TEST_F(WatchEnd, HiddenFilesComeOnlyWhenAskedFor)
{
    folder.WriteBytes(L"hidden.txt", "h");
    folder.WriteBytes(L"plain.txt", "p");
    ASSERT_TRUE(SetFileAttributesW(Path(L"hidden.txt").c_str(), FILE_ATTRIBUTE_HIDDEN));
    const auto moveIn = [&](const wchar_t* name) { std::filesystem::rename(Path(name), InTree(name)); };
    const auto moveOut = [&](const wchar_t* name) { std::filesystem::rename(InTree(name), Path(name)); };
    for (const bool asked : {false, true}) {
        const auto host = StartWatch(asked ? Arguments{L"--hidden"} : Arguments{});
        moveIn(L"hidden.txt");
        moveIn(L"plain.txt");
        EXPECT_FALSE(host->WaitForPath(InTree(L"plain.txt")).empty());
        EXPECT_TRUE(!asked || !host->WaitForPath(InTree(L"hidden.txt")).empty());
        host->Interrupt();
        EXPECT_EQ(host->Finish(), 130);
        bool came = false;
        for (const Json& record : OfType(host->Records(), "pending"))
            came = came || record.at("path") == Utf8(InTree(L"hidden.txt"));
        EXPECT_EQ(came, asked);
        moveOut(L"hidden.txt");
        moveOut(L"plain.txt");
    }
}

} // namespace
