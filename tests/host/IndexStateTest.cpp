// An index that is empty, lost, or without the files that are kept beside it: the doctor and a watch say the same.
#include "tests/host/DoctorFixture.h"
#include "tests/support/Said.h"

namespace
{

class IndexState : public Doctor
{
protected:
    // A watch that ends in an orderly way, and what it said.
    std::string Notes(const Arguments& more = {}) const
    {
        HostProcess host(Watch(Joined({L"--until-quiet", L"0.2", L"--record"}, more)));
        EXPECT_EQ(host.Finish(), 0);
        std::string notes;
        for (const Json& note : host.Errors())
            notes += note.value("message", "") + "\n";
        return notes;
    }
    void RemoveIndex() const
    {
        for (const wchar_t* ending : {L"", L"-wal", L"-shm"})
            std::filesystem::remove(index + ending);
    }
};

TEST_F(IndexState, AnEmptyFileIsStartedAnewWithTheSameWordsFromBoth)
{
    Notes();
    RemoveIndex();
    folder.WriteBytes(L"index.db", "");
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "index", "an empty file"), "warning");
    EXPECT_TRUE(Says(Notes(), "the index was an empty file"));
    EXPECT_FALSE(Says(Notes(), "the index"));
}

TEST_F(IndexState, ALostIndexIsNotCalledNew)
{
    Notes();
    RemoveIndex();
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "owner", "the index of the last run is lost"), "warning");
    const std::string notes = Notes();
    EXPECT_TRUE(Says(notes, "the index of the last run is lost")) << notes;
    EXPECT_FALSE(Says(notes, "is new")) << notes;
}

TEST_F(IndexState, LostSharedMemoryIsMadeAgainAndIsNoFailure)
{
    MakeIndex(3);
    {
        CIndexDB database;
        OpenWithItem(database, L"C:\\in the log");
        std::filesystem::copy_file(index + L"-wal", Path(L"kept-wal"));
        std::filesystem::copy_file(index, Path(L"kept"));
    }
    for (const wchar_t* ending : {L"", L"-wal", L"-shm"})
        std::filesystem::remove(index + ending);
    std::filesystem::copy_file(Path(L"kept"), index);
    std::filesystem::copy_file(Path(L"kept-wal"), index + L"-wal");
    const auto before = Everything();
    EXPECT_EQ(StateOf(ExaminedWhole(End::Well), "index", "shared memory"), "ok");
    EXPECT_EQ(Everything(), before);
    EXPECT_FALSE(Says(Notes(), "the index"));
}

} // namespace
