#include "directory_changes/ChangeRecords.h"

#include "tests/directory_changes/RecordBuffer.h"
#include "tests/directory_changes/RecordingSink.h"

#include <gtest/gtest.h>

#include <random>

namespace
{

using Events = std::vector<std::wstring>;

Events Decode(RecordBuffer& buffer, std::size_t* carry = nullptr, const wchar_t* directory = L"C:\\d")
{
    RecordingSink sink;
    const std::size_t carried = DecodeChanges(buffer.Bytes().data(), buffer.Bytes().size(), directory, sink);
    if (carry)
        *carry = carried;
    else
        EXPECT_EQ(carried, 0u);
    return sink.events;
}

TEST(ChangeRecords, EachActionBecomesItsEventWithTheFullPath)
{
    RecordBuffer buffer;
    buffer.Add(1, L"a").Add(2, L"s\\b.txt").Add(3, L"ü");
    EXPECT_EQ(Decode(buffer), (Events{L"+C:\\d\\a", L"-C:\\d\\s\\b.txt", L"*C:\\d\\ü"}));
}

TEST(ChangeRecords, ADirectoryWithABackslashGetsNoSecondOne)
{
    RecordBuffer buffer;
    buffer.Add(1, L"a");
    EXPECT_EQ(Decode(buffer, nullptr, L"C:\\"), Events{L"+C:\\a"});
}

TEST(ChangeRecords, AnOldAndANewNameAreOneRename)
{
    RecordBuffer buffer;
    buffer.Add(4, L"old").Add(5, L"new").Add(3, L"x");
    EXPECT_EQ(Decode(buffer), (Events{L">C:\\d\\old>C:\\d\\new", L"*C:\\d\\x"}));
}

TEST(ChangeRecords, ALoneNewNameAndUnknownActionsAreNoEvents)
{
    RecordBuffer buffer;
    buffer.Add(5, L"new").Add(9, L"x");
    EXPECT_EQ(Decode(buffer), Events{});
}

TEST(ChangeRecords, AnOldNameWithAnotherSuccessorIsARemovalAndTheSuccessorIsHandled)
{
    RecordBuffer buffer;
    buffer.Add(4, L"old").Add(1, L"a").Add(4, L"two").Add(5, L"three");
    EXPECT_EQ(Decode(buffer), (Events{L"-C:\\d\\old", L"+C:\\d\\a", L">C:\\d\\two>C:\\d\\three"}));
}

TEST(ChangeRecords, ARenameThatIsSplitOverTwoReadsIsStillOne)
{
    for (const wchar_t* name : {L"o", L"ol", L"old", L"olde"}) {
        RecordBuffer first, second;
        first.Add(3, L"x").Add(4, name);
        std::size_t carry = 0;
        first.Bytes().resize(first.Bytes().size() + 64);
        first.Bytes().resize(first.Bytes().size() - 64);
        std::vector<std::uint8_t> buffer = first.Bytes();
        buffer.resize(4096);
        RecordingSink sink;
        carry = DecodeChanges(buffer.data(), first.Bytes().size(), L"C:\\d", sink);
        EXPECT_EQ(sink.events, Events{L"*C:\\d\\x"});
        ASSERT_GT(carry, 0u);
        EXPECT_EQ(carry % 4, 0u);
        second.Add(5, L"new").Add(1, L"y");
        std::copy(second.Bytes().begin(), second.Bytes().end(), buffer.begin() + static_cast<long>(carry));
        sink.events.clear();
        EXPECT_EQ(DecodeChanges(buffer.data(), carry + second.Bytes().size(), L"C:\\d", sink), 0u);
        EXPECT_EQ(sink.events, (Events{std::wstring(L">C:\\d\\") + name + L">C:\\d\\new", L"+C:\\d\\y"}));
    }
}

TEST(ChangeRecords, ACarriedNameThatIsGivenUpIsARemoval)
{
    RecordBuffer buffer;
    buffer.Add(4, L"old");
    buffer.Bytes().reserve(64);
    std::vector<std::uint8_t> bytes = buffer.Bytes();
    bytes.resize(64);
    RecordingSink sink;
    const std::size_t carry = DecodeChanges(bytes.data(), buffer.Bytes().size(), L"C:\\d", sink);
    GiveUpCarriedName(bytes.data(), carry, L"C:\\d", sink);
    EXPECT_EQ(sink.events, Events{L"-C:\\d\\old"});
}

TEST(ChangeRecords, ACarriedNameOfMoreThan260UnitsIsCutSoThatTheNextReadHasRoom)
{
    RecordBuffer buffer;
    buffer.Add(4, std::wstring(5000, L'o'));
    const std::size_t size = buffer.Bytes().size();
    RecordingSink sink;
    const std::size_t carry = DecodeChanges(buffer.Bytes().data(), size, L"C:\\d", sink);
    EXPECT_EQ(carry, 536u);
    GiveUpCarriedName(buffer.Bytes().data(), carry, L"C:\\d", sink);
    EXPECT_EQ(sink.events, Events{L"-C:\\d\\" + std::wstring(260, L'o')});
}

TEST(ChangeRecords, ANameOfMoreThan260UnitsIsCut)
{
    RecordBuffer buffer;
    buffer.Add(1, std::wstring(300, L'n'));
    EXPECT_EQ(Decode(buffer), Events{L"+C:\\d\\" + std::wstring(260, L'n')});
}

TEST(ChangeRecords, AnOffsetThatLeadsOutOfTheBufferEndsTheWalk)
{
    RecordBuffer buffer;
    buffer.Add(1, L"a").Add(1, L"b");
    buffer.Set(0, 0x7FFFFFFF);
    EXPECT_EQ(Decode(buffer), Events{L"+C:\\d\\a"});
}

TEST(ChangeRecords, ANameLengthThatLeadsOutOfTheBufferIsBounded)
{
    RecordBuffer buffer;
    buffer.Add(1, L"ab");
    buffer.Set(8, 0xFFFFFFFF);
    EXPECT_EQ(Decode(buffer), Events{L"+C:\\d\\ab"});
}

TEST(ChangeRecords, NoBytesAreNoEvents)
{
    RecordingSink sink;
    EXPECT_EQ(DecodeChanges(nullptr, 0, L"C:\\d", sink), 0u);
    EXPECT_TRUE(sink.events.empty());
}

TEST(ChangeRecords, RandomBytesNeverLeadOutside)
{
    std::mt19937 random(7);
    for (int round = 0; round < 20000; ++round) {
        // Carrying a record may need up to five bytes more than it had; the engine's buffer has them.
        std::vector<std::uint8_t> bytes(random() % 80 + 8);
        for (std::uint8_t& byte : bytes)
            byte = static_cast<std::uint8_t>(random() % 3 ? random() % 20 : random());
        RecordingSink sink;
        const std::size_t carry = DecodeChanges(bytes.data(), bytes.size() - 8, L"C:\\d", sink);
        EXPECT_LE(carry, bytes.size());
    }
}

} // namespace
