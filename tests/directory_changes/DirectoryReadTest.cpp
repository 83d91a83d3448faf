#include "directory_changes/DirectoryRead.h"

#include "tests/directory_changes/RecordBuffer.h"
#include "tests/directory_changes/RecordingSink.h"
#include "tests/directory_changes/ScriptedReads.h"

#include <gtest/gtest.h>

namespace
{

class Reading : public testing::Test
{
protected:
    using Events = std::vector<std::wstring>;

    ScriptedReads io;
    DirectoryRead read{OpenDirectory(io, L"C:\\d")};
    RecordingSink sink;

    void Bring(std::uint32_t action, const wchar_t* name)
    {
        ASSERT_EQ(read.Issue(), 0u);
        RecordBuffer buffer;
        const DWORD bytes = io.Complete(buffer.Add(action, name).Bytes());
        read.ComeBack();
        read.Decode(bytes, L"C:\\d", sink);
    }
};

TEST_F(Reading, AnOldNameIsCarriedToTheReadWithItsNewName)
{
    Bring(4, L"old");
    EXPECT_TRUE(sink.events.empty());
    Bring(5, L"new");
    EXPECT_EQ(sink.events, Events{L">C:\\d\\old>C:\\d\\new"});
    EXPECT_LT(io.lengths[1], io.lengths[0]);
    Bring(1, L"a");
    EXPECT_EQ(io.lengths[2], DirectoryRead::BufferSize);
}

TEST_F(Reading, AnOldNameThatIsGivenUpIsRemovedOnce)
{
    Bring(4, L"old");
    read.GiveUpCarried(L"C:\\d", sink);
    read.GiveUpCarried(L"C:\\d", sink);
    EXPECT_EQ(sink.events, Events{L"-C:\\d\\old"});
}

TEST_F(Reading, AShareThatRefusesTheBufferGetsASmallerOneFromThenOn)
{
    io.longestRead = DirectoryRead::NetworkBufferSize;
    Bring(1, L"a");
    Bring(1, L"b");
    EXPECT_EQ(io.lengths, (std::vector<DWORD>{DirectoryRead::NetworkBufferSize, DirectoryRead::NetworkBufferSize}));
}

TEST_F(Reading, AReadThatIsRefusedIsNotPending)
{
    io.readError = ERROR_ACCESS_DENIED;
    EXPECT_EQ(read.Issue(), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_FALSE(read.IsPending());
    io.readError = 0;
    EXPECT_EQ(read.Issue(), 0u);
    EXPECT_TRUE(read.IsPending());
}

TEST_F(Reading, ALastReadWasLostWhenItCameBeforeTheCloseOrOverflowed)
{
    ASSERT_EQ(read.Issue(), 0u);
    read.Close();
    io.Complete({}, ERROR_OPERATION_ABORTED);
    EXPECT_FALSE(read.LastWasLost());
    io.Complete({}, 0x10C);
    EXPECT_TRUE(read.LastWasLost());

    const auto before = std::make_unique<DirectoryRead>(OpenDirectory(io, L"C:\\d"));
    ASSERT_EQ(before->Issue(), 0u);
    io.Complete({});
    before->Close();
    EXPECT_TRUE(before->LastWasLost());
}

TEST_F(Reading, ADirectoryIsClosedOnceAndWithItsOwner)
{
    read.Close();
    read.Close();
    EXPECT_EQ(io.closed, 1);
    std::make_unique<DirectoryRead>(OpenDirectory(io, L"C:\\e")).reset();
    EXPECT_EQ(io.closed, 2);
}

TEST_F(Reading, SixteenSuccessiveReadsWithoutAChangeAreHopeless)
{
    for (int i = 0; i < 15; ++i)
        read.NoteUse(false);
    read.NoteUse(true);
    for (int i = 0; i < 15; ++i)
        read.NoteUse(false);
    EXPECT_FALSE(read.IsHopeless());
    read.NoteUse(false);
    EXPECT_TRUE(read.IsHopeless());
}

} // namespace
