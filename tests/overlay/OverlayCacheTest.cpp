// One client's connection: what it writes, what it waits for and what it says.
#include "OrbFileMonitorService/OverlayCache.h"
#include "mfc/CEvent.h"
#include "tests/orbwatcher4/LogCapture.h"
#include "tests/overlay/OverlayObjects.h"
#include "tests/overlay/ScriptedWaiter.h"
#include "tests/support/TestMachine.h"

#include <gtest/gtest.h>

#include <optional>

namespace
{

constexpr const wchar_t* File = L"C:\\docs\\a.txt";

class Connection : public testing::Test
{
protected:
    // The service answers whatever comes; `seen` is the path in the block.
    void AnswerEverything()
    {
        waiter.whileWaitingForTheAnswer = [this](HANDLE answer) {
            EXPECT_FALSE(IsSignalled(answer));
            EXPECT_TRUE(service->TakeRequest());
            seen = service->Path();
            return DWORD(WAIT_OBJECT_0);
        };
    }
    bool Set(const wchar_t* path, std::int32_t status)
    {
        return overlay.Request(OverlayRequest::SetStatus, path, status);
    }
    // A request that no service answers.
    bool SetInVain()
    {
        waiter.whileWaitingForTheAnswer = nullptr;
        return Set(File, OverlayStatus::Pending);
    }
    void ExpectFailure(const std::wstring& what, const std::wstring& error) const
    {
        EXPECT_EQ(log.Count(what), 1);
        const std::vector<LogCapture::Line> lines = log.Lines();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.back().text, error);
        EXPECT_EQ(lines.back().level, LogLevel::Error);
    }

    std::optional<OverlayObjects> service{std::in_place};
    ScriptedWaiter waiter;
    OverlayCache overlay{waiter};
    LogCapture log;
    std::wstring seen;
};

TEST_F(Connection, ARequestWithoutAServiceFailsAtOnceAndSaysSo)
{
    service.reset();
    EXPECT_FALSE(Set(File, 4));
    ExpectFailure(L"Request: Path=C:\\docs\\a.txt Status=4",
                  L"Request failed to enter processing queue due to overlay deinitialized");
    EXPECT_TRUE(waiter.limits.empty());
}

TEST_F(Connection, AServiceThatDoesNotRunIsLookedForOnceASecondAndThatIsLoggedAsOften)
{
    service.reset();
    for (int second = 1; second <= 3; ++second) {
        for (int i = 0; i < 100; ++i)
            EXPECT_FALSE(Set(File, 4));
        EXPECT_EQ(log.Count(L"Request failed to enter processing queue due to overlay deinitialized"), second);
        EXPECT_EQ(log.Lines().size(), 2u * second);
        EXPECT_EQ(overlay.PauseLeft(), std::chrono::seconds(1));
        waiter.now += std::chrono::seconds(1);
    }
    service.emplace();
    AnswerEverything();
    EXPECT_TRUE(Set(File, 4));
}

TEST_F(Connection, AWaitThatTheEndOfTheWatcherCutsShortIsNoFailureOfTheService)
{
    waiter.whileWaitingForTheAnswer = [](HANDLE) { return OverlayWaiter::Stopped; };
    for (int i = 0; i <= OverlayCache::MostTimeouts; ++i)
        EXPECT_FALSE(Set(File, OverlayStatus::Pending));
    EXPECT_TRUE(service->IsTurnFree());
    EXPECT_EQ(overlay.PauseLeft().count(), 0);
    EXPECT_TRUE(log.Lines().empty());

    waiter.limits.clear();
    waiter.whileWaitingForTheTurn = [](HANDLE) { return OverlayWaiter::Stopped; };
    EXPECT_FALSE(Set(File, OverlayStatus::Pending));
    EXPECT_EQ(waiter.limits, std::vector<DWORD>{300});
    EXPECT_TRUE(log.Lines().empty());
}

TEST(StoppableWaiter, EndsAWaitWhenTheWatcherEndsWhateverElseIsSet)
{
    CEvent event, stop(true, true);
    StoppableWaiter waiter(static_cast<HANDLE>(stop));
    EXPECT_EQ(waiter.Wait(event, INFINITE), OverlayWaiter::Stopped);
    event.SetEvent();
    EXPECT_EQ(waiter.Wait(event, INFINITE), OverlayWaiter::Stopped);
    stop.ResetEvent();
    EXPECT_EQ(waiter.Wait(event, INFINITE), DWORD(WAIT_OBJECT_0));
    EXPECT_EQ(waiter.Wait(event, 0), DWORD(WAIT_TIMEOUT));
}

TEST_F(Connection, EventsWithoutABlockAreNoServiceAndTheBlockIsNotLeftBehind)
{
    service.reset();
    const OverlayObjects events{OverlayObjects::EventsOnly()};
    EXPECT_FALSE(overlay.Connect());
    EXPECT_FALSE(overlay.Connect()); // would succeed with a block of its own
    EXPECT_FALSE(KernelHandle(OpenFileMappingW(FILE_MAP_READ, FALSE, events.names.block)));
}

TEST_F(Connection, TheObjectsHaveTheNamesOfTheInstallation)
{
    EXPECT_TRUE(service->names.block.View().starts_with(L"Global\\mutexs::OVERLAY_MEMMAP_"));
    EXPECT_TRUE(service->names.request.View().starts_with(L"Global\\mutexs::OVERLAY_REQUEST_MUTEX_"));
    EXPECT_TRUE(service->names.response.View().starts_with(L"Global\\mutexs::OVERLAY_RESPONSE_MUTEX_"));
    EXPECT_TRUE(service->names.token.View().starts_with(L"Global\\mutexs::OVERLAY_TOKEN_MUTEX_"));
}

TEST_F(Connection, ASetRequestPutsPathAndStatusIntoTheBlockAndGivesTheTurnBack)
{
    AnswerEverything();
    EXPECT_TRUE(Set(File, OverlayStatus::Pending));
    EXPECT_EQ(service->Block().kind, 0);
    EXPECT_EQ(seen, File);
    EXPECT_EQ(service->Block().status, 4);
    EXPECT_TRUE(service->IsTurnFree());
    EXPECT_EQ(waiter.limits, (std::vector<DWORD>{300, 300}));
}

TEST_F(Connection, AQueryReadsTheAnswerWhereItsKindStoodAndWritesNoStatus)
{
    service->Block().status = 77;
    waiter.whileWaitingForTheAnswer = [this](HANDLE) {
        EXPECT_EQ(service->Block().kind, 2);
        service->Block().kind = 5;
        return DWORD(WAIT_OBJECT_0);
    };
    std::int32_t status = OverlayStatus::ReadStart;
    EXPECT_TRUE(overlay.Request(OverlayRequest::GetStatus, File, status));
    EXPECT_EQ(status, 5);
    EXPECT_EQ(service->Path(), File);
    EXPECT_EQ(service->Block().status, 77);
    EXPECT_TRUE(service->IsTurnFree());
}

TEST_F(Connection, ARequestOfAnotherKindWritesNothingAndIsStillSignalled)
{
    AnswerEverything();
    EXPECT_TRUE(Set(File, OverlayStatus::Pending));
    std::int32_t status = 99;
    EXPECT_TRUE(overlay.Request(static_cast<OverlayRequest>(1), L"C:\\other", status));
    EXPECT_EQ(service->Block().kind, 0);
    EXPECT_EQ(seen, File);
    EXPECT_EQ(service->Block().status, 4);
    EXPECT_EQ(status, 99);
}

TEST_F(Connection, AnExcludedShortcutHasAStatusOfItsOwn)
{
    AnswerEverything();
    Set(L"C:\\docs\\a.LNK", OverlayStatus::Excluded);
    EXPECT_EQ(service->Block().status, 16);
    Set(L"C:\\docs\\a.lnk", OverlayStatus::Pending);
    EXPECT_EQ(service->Block().status, 4);
    Set(File, OverlayStatus::Excluded);
    EXPECT_EQ(service->Block().status, 8);
}

TEST_F(Connection, AnAnswerThatCameTooLateIsNoneToTheNextRequest)
{
    SetEvent(service->response.Get());
    AnswerEverything(); // expects the event not to be set
    EXPECT_TRUE(Set(File, OverlayStatus::Pending));
}

TEST_F(Connection, ATurnThatDoesNotComeDropsTheConnectionAndTheNextRequestConnectsAgain)
{
    ASSERT_TRUE(overlay.Connect());
    ASSERT_TRUE(IsSignalled(service->token.Get()));
    EXPECT_FALSE(Set(File, OverlayStatus::Pending));
    ExpectFailure(L"Request: Path->C:\\docs\\a.txt Status->4", L"Overlay Request timedout");
    EXPECT_EQ(waiter.limits, std::vector<DWORD>{300});
    service.reset();
    EXPECT_FALSE(overlay.Connect());

    service.emplace();
    waiter.limits.clear();
    waiter.now += OverlayPauses::AbsentPause;
    AnswerEverything();
    EXPECT_TRUE(Set(File, OverlayStatus::Pending));
}

TEST_F(Connection, AnAnswerThatDoesNotComeGivesTheTurnBackAndDropsTheConnection)
{
    EXPECT_FALSE(SetInVain());
    ExpectFailure(L"Request: Path->C:\\docs\\a.txt Status->4", L"Overlay Response timedout");
    EXPECT_TRUE(service->IsTurnFree());
    service.reset();
    EXPECT_FALSE(overlay.Connect());
}

TEST_F(Connection, AServiceThatNeverAnswersIsLeftAloneForAGrowingTimeOfAMinuteAtMost)
{
    for (int i = 0; i < OverlayCache::MostTimeouts; ++i)
        EXPECT_FALSE(SetInVain());
    const auto isAsked = [&] {
        waiter.limits.clear();
        EXPECT_FALSE(SetInVain());
        return !waiter.limits.empty();
    };
    for (const int pause : {1, 2, 4, 8, 16, 32, 60, 60}) {
        EXPECT_FALSE(isAsked()) << "a change waited for it";
        waiter.now += std::chrono::seconds(pause - 1);
        EXPECT_FALSE(isAsked()) << pause;
        waiter.now += std::chrono::seconds(1);
        EXPECT_TRUE(isAsked()) << pause;
    }
    waiter.now += std::chrono::seconds(60);
    AnswerEverything();
    EXPECT_TRUE(Set(File, OverlayStatus::Pending));
    EXPECT_TRUE(isAsked());
    EXPECT_TRUE(isAsked()) << "an answer makes up for the time-outs before";
}

TEST_F(Connection, ADroppedConnectionKeepsTheResponseEventAloneAndUsesItAgain)
{
    const OverlayNames names = service->names;
    EXPECT_FALSE(SetInVain());
    service.reset();
    EXPECT_TRUE(OverlayObjects::EventExists(names.response));
    EXPECT_FALSE(OverlayObjects::EventExists(names.token));
    EXPECT_FALSE(OverlayObjects::EventExists(names.request));

    service.emplace();
    AnswerEverything();
    EXPECT_TRUE(Set(File, OverlayStatus::Pending));
}

TEST_F(Connection, AConnectionThatEndsTakesEverythingAlong)
{
    const OverlayNames names = service->names;
    {
        OverlayCache other(waiter);
        EXPECT_TRUE(other.Connect());
    }
    service.reset();
    EXPECT_FALSE(OverlayObjects::EventExists(names.response));
}

TEST_F(Connection, ARequestWhoseConnectionWasDroppedWhileItWaitedKeepsTheTurn)
{
    waiter.whileWaitingForTheTurn = [this](HANDLE turn) {
        overlay.Disconnect(); // as another thread does whose request has timed out
        return WaitForSingleObject(turn, 0);
    };
    EXPECT_FALSE(Set(File, OverlayStatus::Pending));
    ExpectFailure(L"Request: Path->C:\\docs\\a.txt Status->4", L"MemPtr deleted");
    EXPECT_FALSE(service->IsTurnFree());
    EXPECT_FALSE(service->TakeRequest());
}

TEST_F(Connection, AConnectionThatIsDroppedDuringTheAnswerStaysUsableToTheEndOfTheTurn)
{
    waiter.whileWaitingForTheAnswer = [this](HANDLE) {
        overlay.Disconnect();
        service->Block().kind = 4;
        return DWORD(WAIT_OBJECT_0);
    };
    std::int32_t status = 0;
    EXPECT_TRUE(overlay.Request(OverlayRequest::GetStatus, File, status));
    EXPECT_EQ(status, 4);
    EXPECT_TRUE(service->IsTurnFree());
}

TEST_F(Connection, AFailedRequestDropsNoConnectionThatWasMadeMeanwhile)
{
    waiter.whileWaitingForTheTurn = [this](HANDLE) {
        overlay.Disconnect();
        EXPECT_TRUE(overlay.Connect());
        return DWORD(WAIT_TIMEOUT);
    };
    EXPECT_FALSE(Set(File, OverlayStatus::Pending));
    const OverlayNames names = service->names;
    service.reset();
    EXPECT_TRUE(OverlayObjects::EventExists(names.token));
}

TEST_F(Connection, AWaitThatFailsCountsAsHavingTheTurn)
{
    AnswerEverything();
    waiter.whileWaitingForTheTurn = [](HANDLE) { return DWORD(WAIT_FAILED); };
    EXPECT_TRUE(Set(File, OverlayStatus::Pending));
}

TEST_F(Connection, APathMayFillTheBlockButNoMore)
{
    AnswerEverything();
    const std::wstring longest(1023, L'x');
    EXPECT_TRUE(Set(longest.c_str(), OverlayStatus::Pending));
    EXPECT_EQ(seen, longest);
    EXPECT_EQ(service->Block().status, 4);
    waiter.limits.clear();
    for (const std::size_t units : {1024, 1025, 4000}) {
        EXPECT_FALSE(Set(std::wstring(units, L'y').c_str(), OverlayStatus::Excluded));
        std::int32_t status = OverlayStatus::ReadStart;
        EXPECT_FALSE(overlay.Request(OverlayRequest::GetStatus, std::wstring(units, L'y').c_str(), status));
        EXPECT_EQ(log.Lines().back().text, L"The path is too long for the overlay service");
    }
    EXPECT_TRUE(waiter.limits.empty());
    EXPECT_EQ(service->Path(), longest);
    EXPECT_EQ(service->Block().status, 4);
    EXPECT_TRUE(service->IsTurnFree());
}

class ForeignBlock : public Connection
{
protected:
    ForeignBlock() { service.reset(); }
    const OverlayObjects events{OverlayObjects::EventsOnly()};
};

TEST_F(ForeignBlock, ASmallBlockOfSomebodyElseHoldsARequestAllTheSame)
{
    SharedAccess access;
    const KernelHandle small(
        CreateFileMappingW(INVALID_HANDLE_VALUE, access.Attributes(), PAGE_READWRITE, 0, 16, events.names.block));
    waiter.whileWaitingForTheAnswer = [](HANDLE) { return DWORD(WAIT_OBJECT_0); };
    EXPECT_TRUE(Set(std::wstring(1023, L'x').c_str(), OverlayStatus::Pending));
}

TEST_F(ForeignBlock, ABlockThatCannotBeWrittenIsNoService)
{
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    const FileHandle file(
        CreateFileW(program, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    const KernelHandle readOnly(CreateFileMappingW(file.Get(), nullptr, PAGE_READONLY, 0, 0, events.names.block));
    ASSERT_TRUE(static_cast<bool>(readOnly));
    EXPECT_FALSE(Set(File, OverlayStatus::Pending));
    EXPECT_TRUE(waiter.limits.empty());
    EXPECT_TRUE(events.IsTurnFree());
}

TEST_F(ForeignBlock, AnObjectOfAnotherKindUnderTheNameOfTheBlockIsNoService)
{
    const KernelHandle other(CreateEventW(nullptr, FALSE, FALSE, events.names.block));
    EXPECT_FALSE(Set(File, OverlayStatus::Pending));
    EXPECT_TRUE(waiter.limits.empty());
}

TEST_F(Connection, ReconnectingLeavesNoHandlesBehind)
{
    EXPECT_FALSE(SetInVain());
    const int before = OpenHandles();
    for (int i = 0; i < 200; ++i)
        EXPECT_FALSE(SetInVain());
    EXPECT_LE(OpenHandles(), before);
    {
        service.reset();
        const OverlayObjects events{OverlayObjects::EventsOnly()};
        for (int i = 0; i < 200; ++i)
            EXPECT_FALSE(overlay.Connect());
    }
    EXPECT_LE(OpenHandles(), before);
}

} // namespace
