// Counts the allocations on the way of a change.
#include "directory_changes/ChangeRecords.h"
#include "directory_changes/DelayedEvent.h"
#include "tests/directory_changes/RecordBuffer.h"
#include "tests/support/ImportedCall.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>

namespace
{

std::atomic<int> g_asked{0};
void* (*g_malloc)(std::size_t) = nullptr;

void* CountedMalloc(std::size_t size)
{
    ++g_asked;
    return g_malloc(size);
}

// By this program, and by what the compiler brings along.
class Asked
{
public:
    Asked() : m_before(g_asked) {}
    int SoFar() const { return g_asked - m_before; }

private:
    static void* (*Original())(std::size_t)
    {
        return g_malloc = reinterpret_cast<void* (*)(std::size_t)>(
                   reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), "malloc")));
    }

    void* (*const m_original)(std::size_t) = Original();
    const ImportedCall m_own{nullptr, "malloc", CountedMalloc};
    const ImportedCall m_library{L"libstdc++-6.dll", "malloc", CountedMalloc};
    const int m_before;
};

struct Counter final : ChangeRecordSink {
    int count = 0;
    void Added(const wchar_t*) override { ++count; }
    void Removed(const wchar_t*) override { ++count; }
    void Modified(const wchar_t*) override { ++count; }
    void Renamed(const wchar_t*, const wchar_t*) override { ++count; }
};

TEST(EventMemory, AnEventIsOneBlockWithItsPaths)
{
    const Asked asked;
    DelayedEvent* const event = MakeDelayedEvent(nullptr, EventRenamed, L"C:\\old name", L"C:\\new name", 7, 3);
    EXPECT_EQ(asked.SoFar(), 1);
    EXPECT_STREQ(event->firstPath, L"C:\\old name");
    EXPECT_STREQ(event->secondPath, L"C:\\new name");
    EXPECT_EQ(event->error, 7u);
    EXPECT_EQ(event->partialPathOffset, 3u);
    FreeDelayedEvent(event);
}

TEST(EventMemory, DecodingAsksOnceHoweverManyChangesThereAre)
{
    RecordBuffer buffer;
    for (int i = 0; i < 1000; ++i)
        buffer.Add(1 + i % 3, L"some folder\\some file " + std::to_wstring(i));
    Counter counter;
    const Asked asked;
    DecodeChanges(buffer.Bytes().data(), buffer.Bytes().size(), L"C:\\a folder that is watched", counter);
    EXPECT_EQ(asked.SoFar(), 1);
    EXPECT_EQ(counter.count, 1000);
}

} // namespace
