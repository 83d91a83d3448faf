#include "orbwatcher4/core/rescan/Enumerator.h"

#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/core/environment/ActingForUser.h"
#include "orbwatcher4/core/environment/Completes.h"
#include "orbwatcher4/core/environment/WatcherThread.h"
#include "orbwatcher4/core/rescan/RunningEvent.h"
#include "orbwatcher4/core/selection/PluginTable.h"

#include <algorithm>
#include <utility>

namespace
{

constexpr unsigned RunFailed = 0xFFFFFFFF;

struct RootRun {
    Enumerator* enumerator;
    CString root;
};

void ReloadSelection(const EnumerationParts& m)
{
    const CSingleLock oneLoadAtATime(m.selection.filesLock);
    m.selection.CountWith(&m.pending.Counters());
    m.selection.Load(m.overlay.ForFilter(), m.config.files.advanced);
    m.selection.RequestItsRoots();
    Completes(L"FillPluginTable", [&] { FillPluginTable(m.config); });
}

} // namespace

Enumerator::Enumerator(const EnumerationParts& parts, std::function<bool(const CString& root)> isBeingRemoved)
    : m(parts),
      m_roots(parts, std::move(isBeingRemoved))
{
}

void Enumerator::Reset()
{
    m_running = false;
    m_completed = false;
    m_everStarted = false;
    m_hidden = 0;
}

bool Enumerator::Start(bool reload)
{
    const COrbFuncLog guard(L"COrbWatcher::StartFirstTimeRun");
    {
        const CSingleLock lock(m_lock);
        if (m_running || m_refusing)
            return false;
        m_everStarted = true;
        m_running = true;
        m_roots.Found().Tally().Restart();
        m_roots.Found().Skipped().Restart();
    }
    bool started = false;
    Completes(L"The start of the first-time run", [&] { started = BeginFull(reload); });
    if (!started) {
        m.due.MakeFull();
        m_running = false;
    }
    return started;
}

bool Enumerator::BeginFull(bool reload)
{
    m.due.BeginRun(m.config.Use());
    m.due.FullBegins(); // this enumeration makes up for an earlier crash that was just noticed
    // An enumeration with the present rules is better than none, and none could begin any more.
    if (reload)
        Completes(L"The reload for the first-time run", [this] { ReloadSelection(m); });
    m.selection.PrimaryWalks().ClearJunctionCache();
    const CString content = m.selection.Content(); // that of the rules with which the enumeration begins
    const std::set<CString> destinations = m.selection.KeptOutDestinations();
    {
        const CSingleLock lock(m_lock);
        if (m_refusing)
            return false;
        m_thread = StartWatcherThread(&RunAll, this);
        if (!m_thread) {
            g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to start the first-time run: %d", GetLastError());
            return false;
        }
    }
    Completes(L"Noting the selection", [&] { m.due.NoteLookedAt(content, destinations); });
    return true;
}

unsigned __stdcall Enumerator::RunAll(void* enumerator)
{
    const COrbFuncLog guard(L"COrbWatcher::_FirstRunAllDrives");
    const WatcherThreadScope scope(FirstRunThreadName);
    auto& self = *static_cast<Enumerator*>(enumerator);
    const ActingForUser user(self.m.config.userToken);
    std::optional<RunningEvent> event;
    Completes(L"Telling of the first-time run", [&] { event.emplace(self.m_hidden != 0); });
    if (!user.Acts() || !Completes(L"The first-time run", [&] { self.m_roots.EnumerateAll(); }))
        self.m.due.MakeFull();
    const CSingleLock lock(self.m_lock);
    event.reset(); // before another enumeration can begin, whose event has the same name
    self.m_running = false;
    self.m_completed = true;
    return 0;
}

void Enumerator::NoteCompleted() noexcept
{
    Completes(L"Noting a completed enumeration", [this] { m.due.NoteFullCompleted(*m.config.clock); });
}

bool Enumerator::StartOn(const CString& root)
{
    const CSingleLock lock(m_lock);
    if (m_refusing)
        return false;
    std::erase_if(m_rootThreads, [](const auto& run) { return IsSignalled(run.second.Get()); });
    if (m_rootThreads.contains(root))
        return false;
    // Directories that any enumeration has seen must be walked again. An enumeration that is still running may meet
    // some of them twice.
    m.selection.PrimaryWalks().ClearJunctionCache();
    auto run = std::make_unique<RootRun>(RootRun{this, root});
    const auto place = m_rootThreads.try_emplace(root).first; // before the thread begins, which must be waited for
    ++m_rootsRunning;
    place->second = StartWatcherThread(&RunOne, run.get());
    if (!place->second) {
        g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"Failed to start the run over %s: %d", root.GetString(),
                          GetLastError());
        --m_rootsRunning;
        m_rootThreads.erase(place);
        return false;
    }
    static_cast<void>(run.release()); // the thread owns it
    return true;
}

unsigned __stdcall Enumerator::RunOne(void* driveAndEnumerator)
{
    const COrbFuncLog guard(L"COrbWatcher::_FirstRunSingleDrive");
    const WatcherThreadScope scope(FirstRunThreadName);
    const std::unique_ptr<RootRun> run(static_cast<RootRun*>(driveAndEnumerator));
    Enumerator& self = *run->enumerator;
    const ActingForUser user(self.m.config.userToken);
    bool whole = false;
    Completes(L"The run over one drive", [&] { whole = user.Acts() && self.m_roots.EnumerateOne(run->root); });
    if (!whole || self.m.stop.IsSet())
        self.m.due.MakeFull();
    --self.m_rootsRunning;
    return whole ? 0 : RunFailed;
}

void Enumerator::Refuse()
{
    const CSingleLock lock(m_lock);
    m_refusing = true;
}

void Enumerator::Allow()
{
    const CSingleLock lock(m_lock);
    m_refusing = false;
}

void Enumerator::EndRuns()
{
    KernelHandle thread;
    std::map<CString, KernelHandle> rootThreads;
    {
        const CSingleLock lock(m_lock);
        thread = std::move(m_thread);
        rootThreads.swap(m_rootThreads);
    }
    JoinWatcherThread(thread, FirstRunThreadName);
    for (auto& [root, run] : rootThreads)
        JoinWatcherThread(run, FirstRunThreadName);
}

bool Enumerator::IsAnyThreadRunning() const
{
    const auto runs = [](const KernelHandle& thread) { return thread && !IsSignalled(thread.Get()); };
    const CSingleLock lock(m_lock);
    return runs(m_thread) ||
           std::any_of(m_rootThreads.begin(), m_rootThreads.end(), [&](const auto& run) { return runs(run.second); });
}

EnumerationProgress Enumerator::Progress() const noexcept
{
    // Read before the counts: an enumeration that has ended has counted everything.
    const int running = (m_running ? 1 : 0) + m_rootsRunning;
    EnumerationProgress progress;
    Completes(L"GetEnumerationProgress", [&] { progress = m_roots.Found().Tally().Read(); });
    progress.running = running;
    return progress;
}
