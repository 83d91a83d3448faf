// The thread that tells the overlay service of statuses: the test makes its steps, with a clock of its own.
#include "orbwatcher4/core/overlay/OverlaySender.h"
#include "tests/orbwatcher4/LogCapture.h"
#include "tests/overlay/OverlayObjects.h"
#include "tests/overlay/ScriptedWaiter.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace
{

constexpr const wchar_t *One = L"C:\\docs\\a.txt", *Two = L"C:\\docs\\b.txt";
constexpr DWORD NothingLeft = INFINITE;

class Sender : public testing::Test
{
protected:
    Sender() { stop.SetEvent(); } // no thread begins

    // The service answers each request, and each query with `present`.
    void Answer(std::int32_t present = 0)
    {
        waiter.whileWaitingForTheAnswer = [this, present](HANDLE) {
            EXPECT_TRUE(service->TakeRequest());
            OverlayBlock& block = service->Block();
            if (block.kind == static_cast<std::int32_t>(OverlayRequest::GetStatus)) {
                ++queries;
                block.kind = present;
            } else
                told.emplace_back(service->Path(), block.status);
            return DWORD(WAIT_OBJECT_0);
        };
    }
    void Hang() { waiter.whileWaitingForTheAnswer = nullptr; }
    DWORD SendDue()
    {
        stop.ResetEvent();
        const DWORD pause = sender.SendDue();
        stop.SetEvent();
        return pause;
    }
    // Returns the number of requests, answered or not.
    std::size_t Requests() const { return waiter.limits.size() / 2; }

    using Told = std::vector<std::pair<std::wstring, std::int32_t>>;

    std::optional<OverlayObjects> service{std::in_place};
    ScriptedWaiter waiter;
    OverlayCache overlay{waiter};
    CSignal stop;
    Config config{false};
    OverlaySender sender{config, overlay, stop};
    LogCapture log;
    Told told;
    int queries = 0;
};

TEST_F(Sender, TellsTheLastStatusOfEachPathInTheOrderInWhichThePathsCame)
{
    Answer();
    sender.Set(One, OverlayStatus::Pending);
    sender.Set(Two, OverlayStatus::Excluded);
    sender.Set(One, OverlayStatus::InSync);
    EXPECT_FALSE(sender.IsIdle());
    EXPECT_EQ(SendDue(), NothingLeft);
    EXPECT_EQ(told, (Told{{One, 0}, {Two, 8}}));
    EXPECT_TRUE(sender.IsIdle());
}

TEST_F(Sender, ReadsTheStatusToWhichAModificationIsAdded)
{
    Answer(4);
    sender.AddModification(One);
    EXPECT_EQ(SendDue(), NothingLeft);
    EXPECT_EQ(told, (Told{{One, 5}}));
    EXPECT_EQ(queries, 1);
}

TEST_F(Sender, AddsAModificationToAStatusThatWaitsWithoutAQuery)
{
    Answer();
    sender.Set(One, OverlayStatus::Pending);
    sender.AddModification(One);
    sender.Set(L"C:\\docs\\c.lnk", OverlayStatus::Excluded);
    sender.AddModification(L"C:\\docs\\c.lnk");
    EXPECT_EQ(SendDue(), NothingLeft);
    EXPECT_EQ(told, (Told{{One, 5}, {L"C:\\docs\\c.lnk", 17}}));
    EXPECT_EQ(queries, 0);
}

TEST_F(Sender, LeavesAServiceThatHangsAloneForGrowingTimesAndTellsItTheRestThen)
{
    for (int i = 0; i < 6; ++i)
        sender.Set(CString((L"C:\\docs\\" + std::to_wstring(i)).c_str()), OverlayStatus::Pending);
    EXPECT_EQ(SendDue(), 1000u);
    EXPECT_EQ(Requests(), 3u);
    for (int i = 0; i < 100; ++i)
        sender.Set(L"C:\\docs\\5", i);
    EXPECT_EQ(SendDue(), 1000u);
    EXPECT_EQ(Requests(), 3u);
    waiter.now += std::chrono::seconds(1);
    EXPECT_EQ(SendDue(), 2000u);
    EXPECT_EQ(Requests(), 4u);
    waiter.now += std::chrono::seconds(2);
    Answer();
    EXPECT_EQ(SendDue(), NothingLeft);
    EXPECT_EQ(told, (Told{{L"C:\\docs\\4", 4}, {L"C:\\docs\\5", 99}}));
}

TEST_F(Sender, LooksForAServiceThatDoesNotRunOnceASecondHoweverMuchHappens)
{
    service.reset();
    constexpr const wchar_t* error = L"Request failed to enter processing queue due to overlay deinitialized";
    for (int second = 1; second <= 3; ++second) {
        for (int i = 0; i < 50; ++i) {
            sender.Set(CString((L"C:\\docs\\" + std::to_wstring(i)).c_str()), OverlayStatus::Pending);
            sender.AddModification(Two);
            SendDue();
        }
        EXPECT_EQ(log.Count(error), second);
        EXPECT_EQ(log.Lines().size(), 2u * second);
        waiter.now += std::chrono::seconds(1);
    }
    SendDue();
    EXPECT_TRUE(sender.IsIdle()) << "what was to be told is dropped, as if each request had failed";
    SendDue();
    EXPECT_EQ(log.Count(error), 4) << "nothing is looked for when there is nothing to tell";
    service.emplace();
    waiter.now += std::chrono::seconds(1);
    Answer();
    sender.Set(One, OverlayStatus::Pending);
    EXPECT_EQ(SendDue(), NothingLeft);
    EXPECT_EQ(told, (Told{{One, 4}}));
}

TEST_F(Sender, SaysOnceThatItDropsTheOldest)
{
    for (std::size_t i = 0; i < UnsentStatuses::Most + 10; ++i)
        sender.Set(CString((L"C:\\docs\\" + std::to_wstring(i)).c_str()), OverlayStatus::Pending);
    EXPECT_EQ(log.Count(L"The overlay service is slow. The oldest statuses are dropped"), 1);
}

// Waits much longer than a request does, so that nothing but an event or the stop ends a wait.
class PatientWaiter final : public OverlayWaiter
{
public:
    explicit PatientWaiter(HANDLE stop) : m_waiter(stop) {}
    DWORD Wait(HANDLE event, DWORD) override
    {
        const DWORD result = m_waiter.Wait(event, 60000);
        stopped += result == Stopped;
        timedOut += result == WAIT_TIMEOUT;
        return result;
    }
    std::atomic<int> stopped{0}, timedOut{0};

private:
    StoppableWaiter m_waiter;
};

TEST(OverlaySenderThread, AStopEndsItThoughTheServiceHangsAndTheNextOneTellsWhatWaits)
{
    const OverlayObjects service;
    CSignal stop;
    PatientWaiter waiter(static_cast<HANDLE>(stop));
    OverlayCache overlay(waiter);
    const Config config(false);
    const LogCapture log;
    OverlaySender sender(config, overlay, stop);
    sender.Set(One, OverlayStatus::Pending);
    sender.Set(Two, OverlayStatus::Pending);
    ASSERT_EQ(WaitForSingleObject(service.request.Get(), 30000), DWORD(WAIT_OBJECT_0));
    EXPECT_TRUE(sender.IsRunning());

    stop.SetEvent();
    sender.Join();
    EXPECT_FALSE(sender.IsRunning());
    EXPECT_EQ(waiter.stopped, 1);
    EXPECT_EQ(waiter.timedOut, 0);
    EXPECT_TRUE(log.Lines().empty());
    sender.Set(One, OverlayStatus::Excluded);
    EXPECT_FALSE(sender.IsRunning()) << "none begins while the watcher ends";

    stop.ResetEvent();
    sender.Set(One, OverlayStatus::InSync);
    ASSERT_EQ(WaitForSingleObject(service.request.Get(), 30000), DWORD(WAIT_OBJECT_0));
    EXPECT_EQ(service.Path(), Two);
    SetEvent(service.response.Get());
    ASSERT_EQ(WaitForSingleObject(service.request.Get(), 30000), DWORD(WAIT_OBJECT_0));
    EXPECT_EQ(service.Path(), One);
    EXPECT_EQ(service.Block().status, OverlayStatus::InSync);
    SetEvent(service.response.Get());
}

} // namespace
