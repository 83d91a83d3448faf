// Estimates the size of a selection.
#include "orbwatcher4/OrbFilter.h"
#include "orbwatcher4/Scanner.h"
#include "orbwatcher4/capi/LoadedFiles.h"

#include <chrono>
#include <future>
#include <set>

namespace
{

constexpr std::chrono::milliseconds CallbackInterval(50);

// Returns the plugins of the selection's rules.
std::vector<int> PluginsOf(const std::wstring& selection, const std::wstring& autoExclusions)
{
    OrbFilter filter;
    RequireFiles({&selection, &autoExclusions});
    RequireLoaded([&] { return filter.LoadXmlFilters(selection.c_str(), autoExclusions.c_str(), nullptr); });
    std::set<int> plugins;
    for (const FilterPtr& rule : filter.AllRules())
        if (!(rule->flags & RuleFlags::AutoExclude))
            plugins.insert(rule->pluginId);
    return {plugins.begin(), plugins.end()};
}

OrbEstimateProgress ProgressOf(const Scanner& scanner)
{
    const ScanProgress from = scanner.GetScanProgress();
    OrbEstimateProgress progress = {};
    progress.size = sizeof progress;
    progress.drives = static_cast<uint32_t>(from.drives);
    progress.drivesDone = static_cast<uint32_t>(from.drivesDone);
    progress.files = from.files;
    progress.folders = from.folders;
    progress.bytes = from.bytes;
    PutText(progress.folder, from.folder.View());
    return progress;
}

// Scans on another thread and calls the callback on this one. Returns false when the callback has ended the scan.
bool Scan(Scanner& scanner, const std::function<void()>& work, OrbEstimateCallback callback, void* context)
{
    auto scan = std::async(std::launch::async, work);
    bool aborted = false;
    do {
        const OrbEstimateProgress progress = ProgressOf(scanner);
        aborted = aborted || (callback && callback(context, &progress) != 0);
        // Repeated, because a recount that begins meanwhile forgets an earlier request to end.
        if (aborted)
            scanner.Stop();
    } while (scan.wait_for(CallbackInterval) == std::future_status::timeout);
    scan.get();
    return !aborted;
}

void Give(const Scanner& scanner, const Estimate& estimate, OrbEstimateTotals* totals)
{
    OrbEstimateTotals filled = {};
    filled.files = estimate.included.files;
    filled.bytes = estimate.included.bytes;
    SizeTotal leftOut;
    for (const Estimate::LeftOut& row : estimate.leftOut)
        leftOut.Add(row.total);
    filled.leftOutFiles = leftOut.files;
    filled.leftOutBytes = leftOut.bytes;
    for (const PassedOverPath& passed : scanner.GetPassedOver())
        filled.unreadable += passed.why == PathOutcome::Unreadable;
    CopyOut(filled, totals);
}

} // namespace

OrbResult ORB_CALL OrbEstimate(const OrbEstimateOptions* options, OrbEstimateCallback callback, void* context,
                               OrbEstimateTotals* totals)
{
    return Guarded([&] {
        RequireSize(totals);
        const OrbEstimateOptions given = CopyIn(options);
        const std::wstring selection = RequiredText(given.selection);
        const std::wstring autoExclusions = OptionalText(given.autoExclusions);
        const std::vector<int> plugins = PluginsOf(selection, autoExclusions);
        Scanner scanner(selection.c_str(), autoExclusions.c_str(), nullptr);
        scanner.SetDestination(OptionalText(given.destination).c_str());
        Estimate estimate;
        const auto work = [&] {
            scanner.Start();
            scanner.WaitForScans();
            scanner.AddProfile(plugins);
            estimate = scanner.GetEstimate();
        };
        if (!Scan(scanner, work, callback, context))
            throw Refused{ORB_ABORTED};
        Give(scanner, estimate, totals);
        return ORB_OK;
    });
}
