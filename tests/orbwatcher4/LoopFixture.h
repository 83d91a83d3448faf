// The watch loop (WatchLoop), one pass at a time, with a clock that the test moves.
#pragma once

#include "companions/settings/OrbSettings.h"
#include "tests/orbwatcher4/WatcherFixture.h"

#include <memory>

class LoopFixture : public WatcherFixture
{
protected:
    LoopFixture()
    {
        // No first-time check unless a test asks for it.
        GetServiceRunSettings().Load();
        GetServiceRunSettings().SetValue(L"Backup::FirstTimeRunTime", static_cast<std::int32_t>(clock.Seconds()));
        GetServiceRunSettings().Save();
        watcher.SetRescanListener([this](const CString&, const char* reason) { rescans.push_back(reason); });
    }
    ~LoopFixture() override { End(); }

    WatchLoop& Start()
    {
        m_loop.reset(new WatchLoop(WatcherAccess::Loop(watcher)));
        m_loop->Start();
        return *m_loop;
    }
    // Before the drives are changed back.
    void End()
    {
        if (m_loop)
            m_loop->End();
        m_loop.reset();
    }
    void PassAfter(std::int64_t seconds)
    {
        clock.Advance(seconds);
        EXPECT_TRUE(m_loop->Pass());
    }

    std::vector<std::string> rescans; // why roots were enumerated again

private:
    std::unique_ptr<WatchLoop> m_loop;
};
