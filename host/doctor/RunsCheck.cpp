#include "host/RunningWatchers.h"
#include "host/doctor/Checks.h"

namespace
{

Check CheckRun(const MarkedRun& run)
{
    const std::wstring who = L"process " + std::to_wstring(run.process);
    if (run.running)
        return {"runs", Check::State::Ok, L"a watcher runs on this data folder: " + who, run.mark};
    return {"runs", Check::State::Warning,
            L"the watcher of " + who + L" was killed or crashed; the next start looks at everything again", run.mark};
}

} // namespace

Checks CheckRuns(const std::wstring& dataFolder)
{
    Checks checks;
    for (const MarkedRun& run : FindRuns(dataFolder))
        checks.push_back(CheckRun(run));
    if (checks.empty())
        checks.push_back({"runs", Check::State::Ok, L"no watcher runs on this data folder, and none was killed", L""});
    return checks;
}
