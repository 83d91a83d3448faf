// A selected tree that a test enumerates with the watcher, as the first run does.
#pragma once

#include "tests/orbwatcher4/WatcherFixture.h"

class EnumeratedTree : public WatcherFixture
{
protected:
    EnumeratedTree() { watcher.UpdateThreadsPriority(CPUSpeedFull); }

    EnumerationProgress Enumerate()
    {
        EXPECT_EQ(watcher.StartFirstTimeRun(0), 1);
        Parts().enumerator.EndRuns();
        return watcher.GetEnumerationProgress();
    }
};
