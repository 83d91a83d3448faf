// The events that reach the caller's handler, without a thread.
#include "directory_changes/EventDelivery.h"

#include "tests/directory_changes/RecordingHandler.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

namespace
{

struct FreeEvent {
    void operator()(DelayedEvent* event) const { FreeDelayedEvent(event); }
};

class Delivery : public testing::Test
{
protected:
    using Events = std::vector<std::wstring>;

    RecordingHandler real;
    EventDelivery delivery{&real, FilterFlags::SkipPatterns};

    void Deliver(EventCode code, const wchar_t* path)
    {
        const std::unique_ptr<DelayedEvent, FreeEvent> event(MakeDelayedEvent(nullptr, code, path, L"C:\\n", 7, 0));
        delivery.Deliver(*event);
    }
};

TEST_F(Delivery, AHandlerThatThrowsHearsOfALoss)
{
    delivery.SetDirectory(L"C:\\d");
    real.onEvent = [](const std::wstring& told) {
        if (told == L"+C:\\d\\a")
            throw std::runtime_error("cannot be handled");
    };
    Deliver(EventAdded, L"C:\\d\\a");
    EXPECT_EQ(real.Events(), (Events{L"+C:\\d\\a", L"error 1022 C:\\d"}));
}

TEST_F(Delivery, AHandlerThatRefusesTheReportAsWellHoldsNothingUp)
{
    delivery.SetDirectory(L"C:\\d");
    real.onEvent = [](const std::wstring&) { throw std::runtime_error("cannot be handled"); };
    Deliver(EventRenamed, L"C:\\d\\a");
    EXPECT_EQ(real.Events().size(), 2u);
}

TEST_F(Delivery, OneCallerAloneTakesTheHandlerAndItHearsNothingMore)
{
    EXPECT_EQ(delivery.TakeHandler(), &real);
    EXPECT_EQ(delivery.TakeHandler(), nullptr);
    Deliver(EventAdded, L"C:\\d\\a");
    Deliver(EventWatchStopped, L"C:\\d");
    EXPECT_TRUE(real.Events().empty());
}

TEST(EventFilter, ThePartialPathBeginsBehindTheDirectoryWhenItIsAskedFor)
{
    const EventFilter partial(FilterFlags::TestPartialPath), whole(FilterFlags::TestFileName);
    EXPECT_EQ(partial.PartialPathOffset(L"C:\\d"), 5u);
    EXPECT_EQ(partial.PartialPathOffset(L"C:\\"), 3u);
    EXPECT_EQ(partial.PartialPathOffset(L""), 0u);
    EXPECT_EQ(whole.PartialPathOffset(L"C:\\d"), 0u);
}

TEST(EventFilter, StartsAndStopsAreWithheldByTheirFlagsAlone)
{
    const EventFilter all(1), noStart(1 | 64), noStop(1 | 128);
    for (const EventCode code : {EventAdded, EventReadError, EventWatchStarted, EventWatchStopped}) {
        EXPECT_TRUE(all.Wants(code));
        EXPECT_EQ(noStart.Wants(code), code != EventWatchStarted);
        EXPECT_EQ(noStop.Wants(code), code != EventWatchStopped);
    }
}

} // namespace
