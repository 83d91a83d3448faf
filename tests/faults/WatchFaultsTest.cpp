// A root that could not be watched is watched again, and what changed meanwhile is looked for.
#include "orbwatcher4/core/environment/Completes.h"
#include "tests/faults/FaultyWatcher.h"

#include <memory>

namespace
{

class FaultyWatch : public FaultyWatcher
{
protected:
    FaultyWatch()
    {
        watcher.SetRescanListener([this](const CString&, const char*) { ++rescans; });
        Write(L"file.txt");
    }
    ~FaultyWatch() override { m_loop.reset(); }

    void Prepare()
    {
        m_loop.reset();
        NoteEnumerationDone();
        // No first-time check in between.
        GetServiceRunSettings().SetValue(FirstTimeRunTimeKey, static_cast<std::int32_t>(clock.Seconds()));
        InitAgain();
        ASSERT_TRUE(watcher.LoadSelection());
        m_loop.reset(new WatchLoop(WatcherAccess::Loop(watcher)));
        rescans = 0;
        ready = false;
    }
    void Start()
    {
        ready = Completes(L"The start", [this] { m_loop->Start(); });
    }
    void Check()
    {
        const bool atOnce = ready && !watcher.GetWatchedRoots().empty();
        if (!ready)
            m_loop->Start();
        for (int i = 0; i < 3; ++i) {
            clock.Advance(61);
            EXPECT_TRUE(m_loop->Pass());
        }
        EXPECT_FALSE(watcher.GetWatchedRoots().empty());
        EXPECT_TRUE(atOnce || !ready || rescans > 0);
        EXPECT_TRUE(atOnce || HasErrorInLog() || GetParam().name == "Memory");
        m_loop->End();
        WatcherAccess::Parts(watcher).enumerator.EndRuns();
    }

    std::unique_ptr<WatchLoop> m_loop;
    int rescans = 0;
    bool ready = false;
};

TEST_P(FaultyWatch, IsBegunAgain)
{
    TryFaults({"start of the watch", [this] { Prepare(); }, [this] { Start(); }, [this] { Check(); }});
}

INSTANTIATE_TEST_SUITE_P(, FaultyWatch, testing::Values(Faults::ThreadStart(), Faults::Memory()),
                         [](const auto& info) { return info.param.name; });

} // namespace
