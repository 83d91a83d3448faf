// The service as a process of its own, and clients that talk to it.
#include "OrbFileMonitorService/OverlayCache.h"
#include "tests/host/HostProcess.h"
#include "tests/orbwatcher4/LogCapture.h"
#include "tests/overlay/OverlayObjects.h"
#include "tests/overlay/ScriptedWaiter.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>

namespace
{

using Json = HostProcess::Json;

class Service : public testing::Test
{
protected:
    void Start(const std::vector<std::wstring>& more = {})
    {
        std::vector<std::wstring> arguments = {L"overlay", L"--json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        service = std::make_unique<HostProcess>(arguments);
        ASSERT_EQ(service->WaitForType("ready").value("type", ""), "ready");
    }
    void TearDown() override
    {
        if (service)
            service->Interrupt();
    }

    static bool Set(OverlayCache& client, const std::wstring& path, std::int32_t status)
    {
        return client.Request(OverlayRequest::SetStatus, path.c_str(), status);
    }
    bool Set(const std::wstring& path, std::int32_t status) { return Set(client, path, status); }
    // A request that is not answered in time.
    bool SetInVain(const std::wstring& path, std::int32_t status)
    {
        waiter.patient = false;
        const bool answered = Set(path, status);
        waiter.patient = true;
        return answered;
    }
    static std::int32_t Ask(OverlayCache& client, const std::wstring& path)
    {
        std::int32_t status = -1;
        EXPECT_TRUE(client.Request(OverlayRequest::GetStatus, path.c_str(), status));
        return status;
    }
    std::int32_t Ask(const std::wstring& path) { return Ask(client, path); }
    Json Printed(const std::wstring& path) const { return service->WaitForPath(path); }
    Json Summary() const
    {
        service->Interrupt();
        EXPECT_EQ(service->Finish(), 130);
        return service->WaitForType("summary");
    }

    std::unique_ptr<HostProcess> service;
    RealWaiter waiter;
    OverlayCache client{waiter};
    LogCapture log;
};

TEST_F(Service, KeepsPrintsAndTellsEachStatus)
{
    Start();
    EXPECT_TRUE(Set(L"C:\\a.txt", 8));
    const Json printed = Printed(L"C:\\a.txt");
    EXPECT_EQ(printed["type"], "overlay");
    EXPECT_EQ(printed["status"], 8);
    EXPECT_EQ(printed["meaning"], "excluded");
    EXPECT_EQ(Ask(L"c:\\A.TXT"), 8);
    EXPECT_EQ(Ask(L"C:\\never.txt"), 0);
}

TEST_F(Service, PrintsChangesOnlyAndCountsEveryRequest)
{
    Start();
    for (const std::int32_t status : {4, 4, 0, 0, 4})
        EXPECT_TRUE(Set(L"C:\\a.txt", status));
    EXPECT_EQ(Ask(L"C:\\a.txt"), 4);
    const Json summary = Summary();
    EXPECT_EQ(summary["requests"], 6);
    EXPECT_EQ(summary["paths"], 1);
    EXPECT_EQ(service->Records().size(), 5u); // ready, three changes, summary
}

TEST_F(Service, TakesTheLongestPath)
{
    Start();
    const std::wstring longest = L"C:\\" + std::wstring(1020, L'\x00E4');
    EXPECT_TRUE(Set(longest, 4));
    EXPECT_EQ(Ask(longest), 4);
    EXPECT_EQ(Printed(longest)["status"], 4);
}

TEST_F(Service, IsFoundWhenItComesAfterItsClients)
{
    EXPECT_FALSE(Set(L"C:\\a.txt", 4));
    EXPECT_EQ(waiter.waits, 0);
    Start();
    waiter.ahead += OverlayPauses::AbsentPause;
    EXPECT_TRUE(Set(L"C:\\a.txt", 4));
}

TEST_F(Service, IsTheOnlyOne)
{
    Start();
    HostProcess second({L"overlay", L"--json"});
    EXPECT_EQ(second.Finish(), 1);
    ASSERT_EQ(second.Errors().size(), 1u);
    EXPECT_EQ(second.Errors()[0]["message"], "another overlay service is running on this data folder; end it first");
    EXPECT_TRUE(Set(L"C:\\a.txt", 4));
}

TEST_F(Service, ThatIsKilledAndComesBackIsConnectedToAgain)
{
    Start();
    EXPECT_TRUE(Set(L"C:\\a.txt", 4));
    service->Kill();
    service->Finish();
    EXPECT_FALSE(SetInVain(L"C:\\a.txt", 4)); // the objects live on in the client
    EXPECT_FALSE(SetInVain(L"C:\\a.txt", 4)); // and are gone
    EXPECT_EQ(log.Lines().back().text, L"Request failed to enter processing queue due to overlay deinitialized");
    Start();
    waiter.ahead += OverlayPauses::AbsentPause;
    EXPECT_TRUE(Set(L"C:\\b.txt", 8));
    EXPECT_EQ(Ask(L"C:\\b.txt"), 8);
}

TEST_F(Service, ThatComesBackWhileAClientIsStillConnectedIsUsedAtOnce)
{
    Start();
    EXPECT_TRUE(Set(L"C:\\a.txt", 4));
    service->Kill();
    service->Finish();
    Start();
    EXPECT_TRUE(Set(L"C:\\a.txt", 4));
    EXPECT_EQ(Printed(L"C:\\a.txt")["status"], 4);
}

TEST_F(Service, ThatDiesInsideATurnFailsTheRequestAndNoLaterOne)
{
    Start({L"--fault", L"die", L"--after", L"1"});
    EXPECT_TRUE(Set(L"C:\\a.txt", 4));
    EXPECT_FALSE(SetInVain(L"C:\\a.txt", 8));
    EXPECT_EQ(service->Finish(), 1);
    Start();
    EXPECT_TRUE(Set(L"C:\\a.txt", 8));
}

TEST_F(Service, ThatDoesNotAnswerCostsTwoWaitsAtMostAndTheNextRequestConnectsAgain)
{
    Start({L"--fault", L"silent", L"--times", L"2"});
    for (int i = 1; i <= 2; ++i) {
        EXPECT_FALSE(SetInVain(L"C:\\a.txt", 4));
        EXPECT_EQ(waiter.waits, 2 * i); // each 300 ms at most
    }
    EXPECT_EQ(log.Count(L"Overlay Response timedout"), 2);
    EXPECT_TRUE(Set(L"C:\\a.txt", 8));
    EXPECT_EQ(Ask(L"C:\\a.txt"), 8);
}

TEST_F(Service, ThatAnswersTooLateAnswersNoOtherRequest)
{
    Start({L"--fault", L"late", L"--times", L"1"});
    EXPECT_FALSE(SetInVain(L"C:\\late.txt", 4));
    EXPECT_EQ(Printed(L"C:\\late.txt")["status"], 4); // the answer has been given by now
    EXPECT_EQ(Ask(L"C:\\late.txt"), 4);
    EXPECT_EQ(Ask(L"C:\\other.txt"), 0);
}

TEST_F(Service, GivesATurnBackWhoseClientHasDied)
{
    Start();
    const auto dead = OpenOverlayLine(OverlayNames::OfThisInstallation());
    ASSERT_TRUE(dead);
    ASSERT_EQ(WaitForSingleObject(dead->token.Get(), 30000), WAIT_OBJECT_0);
    EXPECT_TRUE(Set(L"C:\\a.txt", 4));
}

// A client that writes what it likes.
class RawClient
{
public:
    template <typename Fill>
    bool Ask(const Fill& fill)
    {
        if (!m_line || WaitForSingleObject(m_line->token.Get(), 30000) != WAIT_OBJECT_0)
            return false;
        fill(*m_line->view.Block());
        SetEvent(m_line->request.Get());
        const bool answered = WaitForSingleObject(m_response.Get(), 30000) == WAIT_OBJECT_0;
        SetEvent(m_line->token.Get());
        return answered;
    }

private:
    const OverlayNames m_names = OverlayNames::OfThisInstallation();
    const std::shared_ptr<OverlayLine> m_line = OpenOverlayLine(m_names);
    const KernelHandle m_response = OpenOverlayEvent(m_names.response);
};

TEST_F(Service, ReportsAPathWithoutAnEndAndLosesNothing)
{
    Start();
    EXPECT_TRUE(Set(L"C:\\a.txt", 4));
    for (const std::int32_t kind : {0, 2})
        EXPECT_TRUE(RawClient().Ask([&](OverlayBlock& block) {
            std::fill(std::begin(block.path), std::end(block.path), u'x');
            block.kind = kind;
            block.status = 0x00780078; // no end there either
        }));
    EXPECT_EQ(Ask(L"C:\\a.txt"), 4);
    EXPECT_TRUE(Set(L"C:\\b.txt", 8));
    EXPECT_EQ(Summary()["paths"], 2);
    ASSERT_EQ(service->Errors().size(), 2u);
    EXPECT_EQ(service->Errors()[0]["message"],
              "a request of kind 0 with status 7864440 has a path without an end; nothing was kept");
}

TEST_F(Service, ReportsARequestOfAnUnknownKindAndAnswersIt)
{
    Start();
    EXPECT_TRUE(Set(L"C:\\a.txt", 4));
    EXPECT_TRUE(RawClient().Ask([](OverlayBlock& block) { block.kind = 1; }));
    EXPECT_EQ(service->WaitForError(L"C:\\a.txt")["message"], "a request has the unknown kind 1; nothing was kept");
    EXPECT_EQ(Ask(L"C:\\a.txt"), 4);
}

// Each sets and asks about paths of its own, so that a turn of another in between is seen.
void TalkALot(OverlayCache& client, int number, std::atomic<int>& wrong)
{
    for (std::int32_t round = 1; round <= 50; ++round) {
        const std::wstring path = L"C:\\" + std::to_wstring(number) + L"\\" + std::to_wstring(round % 3);
        std::int32_t status = number * 1000 + round;
        std::int32_t answer = 0;
        if (!client.Request(OverlayRequest::SetStatus, path.c_str(), status) ||
            !client.Request(OverlayRequest::GetStatus, path.c_str(), answer) || answer != status)
            ++wrong;
    }
}

template <typename Work>
void InThreads(int count, const Work& work)
{
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number)
        threads.emplace_back([&work, number] { work(number); });
    for (std::thread& thread : threads)
        thread.join();
}

TEST_F(Service, AnswersSeveralClientsAtOnce)
{
    Start();
    std::atomic<int> wrong = 0;
    InThreads(4, [&](int number) {
        OverlayCache own(waiter);
        TalkALot(own, number, wrong);
    });
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(Summary()["requests"], 400);
}

TEST_F(Service, AnswersSeveralThreadsThatShareAClient)
{
    Start();
    std::atomic<int> wrong = 0;
    InThreads(4, [&](int number) { TalkALot(client, number, wrong); });
    EXPECT_EQ(wrong, 0);
}

TEST_F(Service, ThatDoesNotAnswerFailsEveryClientAfterItsOwnWaits)
{
    Start({L"--fault", L"silent"});
    InThreads(4, [&](int number) {
        RealWaiter own;
        own.patient = false;
        OverlayCache client(own);
        EXPECT_FALSE(Set(client, L"C:\\" + std::to_wstring(number), 4));
        EXPECT_LE(own.waits, 2);
    });
    EXPECT_TRUE(OverlayObjects::EventExists(OverlayNames::OfThisInstallation().token));
}

} // namespace
