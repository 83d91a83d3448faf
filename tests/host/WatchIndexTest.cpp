// A watch and the index of what is backed up.
#include "companions/indexdb/OrbIndexDB.h"
#include "tests/host/HostTest.h"

#include <algorithm>

namespace
{

class WatchIndex : public HostTest
{
protected:
    void ExpectRefused(const Arguments& more, const std::string& reason, int code = 1)
    {
        HostProcess host(Watch(more));
        EXPECT_EQ(host.Finish(), code);
        const Json error = OnlyError(host);
        EXPECT_NE(error.value("message", "").find(reason), std::string::npos) << error;
        EXPECT_EQ(error.value("path", ""), Utf8(index));
        EXPECT_TRUE(host.Records().empty());
    }
    static bool IsNew(const Json& pending)
    {
        const Json& flags = pending.at("flags");
        return std::find(flags.begin(), flags.end(), "new") != flags.end();
    }
};

TEST_F(WatchIndex, WithRecordAnUnchangedFileIsDroppedAndAChangedOneIsNoLongerNew)
{
    folder.WriteBytes(L"a.txt", "one");
    const std::wstring inTree = InTree(L"a.txt");
    {
        const auto host = StartWatch({L"--record"});
        std::filesystem::rename(Path(L"a.txt"), inTree);
        const Json first = host->WaitForPath(inTree);
        ASSERT_FALSE(first.empty());
        EXPECT_TRUE(IsNew(first));
        host->Interrupt();
        ASSERT_EQ(host->Finish(), 130);
    }
    const auto host = StartWatch({L"--record"});
    std::filesystem::rename(inTree, Path(L"a.txt"));
    std::filesystem::rename(Path(L"a.txt"), inTree);
    // A later record has come; so it would have come, too.
    ASSERT_FALSE(host->WaitForPath(Write(L"sentinel.txt", "s")).empty());
    for (const Json& record : OfType(host->Records(), "pending"))
        EXPECT_NE(record.at("path"), Utf8(inTree));
    Write(L"a.txt", "two, and longer");
    const Json changed = host->WaitForPath(inTree);
    ASSERT_FALSE(changed.empty());
    EXPECT_FALSE(IsNew(changed));
    host->Interrupt();
    EXPECT_EQ(host->Finish(), 130);
}

TEST_F(WatchIndex, ADeletedFolderIsToldWithWhatTheIndexHeldBelowIt)
{
    const auto host = StartWatch({L"--record"});
    const std::wstring file = Write(L"gone\\deep\\f.txt", "x");
    for (const std::wstring& path : {file, InTree(L"gone\\"), InTree(L"gone\\deep\\")})
        ASSERT_FALSE(host->WaitForPath(path).empty());
    ASSERT_FALSE(host->WaitForPath(Write(L"sentinel.txt", "s")).empty()); // all three are recorded now
    std::filesystem::rename(InTree(L"gone"), Path(L"elsewhere"));
    const Json folderRecord = host->WaitFor([&](const Json& record) {
        return record.value("type", "") == "deleted" && record.value("path", "") == Utf8(InTree(L"gone\\"));
    });
    ASSERT_FALSE(folderRecord.empty());
    EXPECT_EQ(folderRecord.value("id", "").size(), 16u);
    const Json fileRecord = host->WaitFor([&](const Json& record) {
        return record.value("type", "") == "deleted" && record.value("path", "") == Utf8(file);
    });
    EXPECT_EQ(fileRecord.value("job", 0), folderRecord.value("job", -1));
    // A file that returns is a new one.
    std::filesystem::rename(Path(L"elsewhere"), InTree(L"gone"));
    const Json again = host->WaitFor([&](const Json& record) {
        return record.value("type", "") == "pending" && record.value("path", "") == Utf8(file) &&
               record.value("seq", 0) > fileRecord.value("seq", 0);
    });
    ASSERT_FALSE(again.empty());
    EXPECT_TRUE(IsNew(again));
    host->Interrupt();
    EXPECT_EQ(host->Finish(), 130);
}

TEST_F(WatchIndex, AMissingIndexIsMadeAlsoWithoutRecord)
{
    std::filesystem::remove(index);
    HostProcess host(Watch({L"--until-quiet", L"0.2"}));
    EXPECT_EQ(host.Finish(), 0);
    CIndexDB made;
    made.SetDBFilePath(index.c_str());
    EXPECT_TRUE(made.Open(0, 0, 0));
}

TEST_F(WatchIndex, WhatIsNoDatabaseIsRefusedAndLeftAsItIs)
{
    const std::string text(4096, 'x');
    folder.WriteBytes(L"index.db", text);
    ExpectRefused({L"--record"}, "this is no index", 2);
    EXPECT_EQ(folder.ReadBytes(L"index.db"), text);
}

TEST_F(WatchIndex, AnIndexThatAnotherProcessLocksIsRefused)
{
    CIndexDB other;
    other.SetDBFilePath(index.c_str());
    ASSERT_TRUE(other.Open(1, 1, 0));
    ExpectRefused({L"--record"}, "locked");
}

TEST_F(WatchIndex, AFileThatCannotBeRecordedIsToldAndTheOthersAreRecorded)
{
    const std::wstring first = InTree(L"first.txt"), second = InTree(L"second.txt");
    folder.WriteBytes(L"first.txt", "1");
    folder.WriteBytes(L"second.txt", "2");
    HostProcess host(Watch({L"--record", L"--max-events", L"2"}));
    ASSERT_FALSE(host.WaitForType("ready").empty());
    CIndexDB other;
    other.SetDBFilePath(index.c_str());
    ASSERT_TRUE(other.Open(1, 0, 0));
    ASSERT_TRUE(other.BeginBatch());
    std::filesystem::rename(Path(L"first.txt"), first);
    ASSERT_FALSE(host.WaitForError(first).empty());
    other.Close();
    std::filesystem::rename(Path(L"second.txt"), second);
    EXPECT_EQ(host.Finish(), 1);
    const Json error = OnlyError(host);
    EXPECT_TRUE(error.value("message", "").starts_with("cannot be recorded in the index: ")) << error;
    EXPECT_EQ(error.value("path", ""), Utf8(first));
    ASSERT_TRUE(other.Open(0, 0, 0) && other.LoadCache());
    CachedDatum datum;
    EXPECT_FALSE(CIndexDB::GetCachedData(first.c_str(), datum));
    EXPECT_TRUE(CIndexDB::GetCachedData(second.c_str(), datum));
    CIndexDB::ClearCache();
}

TEST_F(WatchIndex, AReadOnlyIndexIsRefusedForRecording)
{
    {
        CIndexDB made;
        made.SetDBFilePath(index.c_str());
        ASSERT_TRUE(made.Open(1, 0, 0));
    }
    SetFileAttributesW(index.c_str(), FILE_ATTRIBUTE_READONLY);
    ExpectRefused({L"--record"}, "read-only");
    SetFileAttributesW(index.c_str(), FILE_ATTRIBUTE_NORMAL);
}

} // namespace
