// A request to the overlay service that is refused what it needs fails at once, and the next one connects anew.
#include "OrbFileMonitorService/OverlayCache.h"
#include "tests/faults/FaultyWatcher.h"
#include "tests/overlay/OverlayObjects.h"
#include "tests/overlay/ScriptedWaiter.h"

#include <optional>

namespace
{

class FaultyOverlay : public FaultyWatcher
{
protected:
    bool Ask(ScriptedWaiter& waiter, OverlayCache& overlay)
    {
        waiter.whileWaitingForTheAnswer = [this](HANDLE) {
            EXPECT_TRUE(service.TakeRequest());
            return DWORD(WAIT_OBJECT_0);
        };
        std::int32_t status = OverlayStatus::Pending;
        return overlay.Request(OverlayRequest::SetStatus, L"C:\\docs\\a.txt", status);
    }
    void Prepare()
    {
        m_overlay.reset();
        m_waiter.emplace();
        m_overlay.emplace(*m_waiter);
    }
    void Check()
    {
        EXPECT_TRUE(asked || HasErrorInLog());
        EXPECT_TRUE(service.IsTurnFree());
        m_waiter->limits.clear();
        m_waiter->now += OverlayPauses::AbsentPause;
        EXPECT_TRUE(Ask(*m_waiter, *m_overlay));
    }
    void Run() { asked = Ask(*m_waiter, *m_overlay); }

    const OverlayObjects service;
    bool asked = false;

private:
    std::optional<ScriptedWaiter> m_waiter;
    std::optional<OverlayCache> m_overlay;
};

TEST_P(FaultyOverlay, IsAskedAgain)
{
    TryFaults({"overlay request", [this] { Prepare(); }, [this] { Run(); }, [this] { Check(); }});
}

INSTANTIATE_TEST_SUITE_P(, FaultyOverlay, testing::Values(Faults::Mapping(), Faults::Posting()),
                         [](const auto& info) { return info.param.name; });

} // namespace
