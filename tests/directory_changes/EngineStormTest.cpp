// Several threads, and the handlers from inside their events, begin and end watches, begin them again, and destroy
// handlers and watchers at once, above a system that now and then refuses something. Nothing may hang, no event may
// come after its unwatch has returned, and nothing may be left over.
//
// ORB_ENGINE_STEPS makes the storm longer, ORB_ENGINE_SEED another one.
#include "directory_changes/DirWatchInfo.h"
#include "directory_changes/EndingWatches.h"
#include "tests/directory_changes/FaultFixture.h"
#include "tests/directory_changes/NotifierSeams.h"
#include "tests/directory_changes/ProgressWatchdog.h"
#include "tests/support/FromEnvironment.h"

#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <random>

namespace
{

constexpr int Threads = 4;
constexpr int HandlersAThread = 2;
constexpr int Watchers = 2;
constexpr int Paths = 4;
constexpr int DeepestEvent = 5; // events inside events, of which the innermost does nothing more

// Numbers that any thread may ask for.
class Dice
{
public:
    explicit Dice(unsigned seed) : m_state(seed) {}
    unsigned Below(unsigned end)
    {
        std::uint64_t mixed = m_state += 0x9E3779B97F4A7C15u;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
        return static_cast<unsigned>((mixed ^ (mixed >> 31)) % end);
    }
    bool OneIn(unsigned count) { return Below(count) == 0; }

private:
    std::atomic<std::uint64_t> m_state;
};

Dice* g_postDice = nullptr;

BOOL WINAPI PostThatIsRefusedNowAndThen(DWORD thread, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (g_postDice->OneIn(200)) {
        SetLastError(ERROR_NOT_ENOUGH_QUOTA);
        return FALSE;
    }
    return PostThreadMessageW(thread, message, wParam, lParam);
}

// A simulated system below one watcher.
class StormIo final : public FakeIo
{
public:
    explicit StormIo(Dice& dice) : m_dice(dice) {}

    HANDLE OpenDirectory(const wchar_t* path) override
    {
        return Refuses(100) ? INVALID_HANDLE_VALUE : FakeIo::OpenDirectory(path);
    }
    bool ReadChanges(HANDLE directory, void* buffer, DWORD length, bool subtree, DWORD filter,
                     OVERLAPPED* overlapped) override
    {
        return !Refuses(50) && FakeIo::ReadChanges(directory, buffer, length, subtree, filter, overlapped);
    }
    bool PostPacket(HANDLE port, DWORD bytes, ULONG_PTR key, OVERLAPPED* overlapped) override
    {
        return !Refuses(30) && FakeIo::PostPacket(port, bytes, key, overlapped);
    }

private:
    bool Refuses(unsigned oneIn)
    {
        if (!m_dice.OneIn(oneIn))
            return false;
        SetLastError(ERROR_NO_SYSTEM_RESOURCES);
        return true;
    }
    Dice& m_dice;
};

struct World;

// The knowledge about a handler, which outlives the handler.
struct Fate {
    std::recursive_mutex beginning; // held by an event that begins a watch
    bool mayBegin = true;           // guarded by beginning
    int begins = 0;                 // calls in progress that begin a watch inside an event; guarded by beginning
    std::atomic<bool> silent{true}; // no event may come: nothing is watched with it
    std::atomic<int> eventsInProgress{0};
};

class StormHandler final : public CDirectoryChangeHandler
{
public:
    StormHandler(World& world, Fate& fate, int slot) : m_world(world), m_fate(fate), m_slot(slot) {}
    ~StormHandler() override;

    void OnFileAdded(const wchar_t*) override { OnEvent(); }
    void OnReadChangesError(DWORD, const wchar_t*) override { OnEvent(); }
    void OnWatchStarted(DWORD, const wchar_t*) override { OnEvent(); }
    void OnWatchStopped(const wchar_t*) override { OnEvent(); }
    Fate& ItsFate() { return m_fate; }

private:
    void OnEvent();

    World& m_world;
    Fate& m_fate;
    const int m_slot;
};

// Stands in the place of a handler that was destroyed.
class Trap final : public CDirectoryChangeHandler
{
public:
    void OnFileAdded(const wchar_t*) override { ++s_sprung; }
    void OnReadChangesError(DWORD, const wchar_t*) override { ++s_sprung; }
    void OnWatchStarted(DWORD, const wchar_t*) override { ++s_sprung; }
    void OnWatchStopped(const wchar_t*) override { ++s_sprung; }
    static inline std::atomic<int> s_sprung{0};
};

struct World {
    explicit World(unsigned seed) : dice(seed)
    {
        for (int i = 0; i < Paths; ++i) {
            paths[i] = folder.Path((L"p" + std::to_wstring(i)).c_str());
            std::filesystem::create_directories(paths[i].GetString());
        }
        for (int i = 0; i < Watchers; ++i)
            ReplaceWatcher(i);
        for (int i = 0; i < Threads * HandlersAThread; ++i)
            handlers[i] = MakeHandler(i);
    }

    std::shared_ptr<CDirectoryChangeWatcher> AnyWatcher()
    {
        const std::scoped_lock lock(mutex);
        return watchers[dice.Below(Watchers)];
    }
    void ReplaceWatcher(int index)
    {
        std::shared_ptr<CDirectoryChangeWatcher> before; // destroyed outside the lock
        const std::scoped_lock lock(mutex);
        StormIo& io = ios.emplace_back(dice);
        before = std::exchange(watchers[index], std::make_shared<CDirectoryChangeWatcher>(io, false, 1));
        currentIos[index] = &io;
    }
    FakeIo& AnyIo()
    {
        const std::scoped_lock lock(mutex);
        return *currentIos[dice.Below(Watchers)];
    }
    const CString& AnyPath() { return paths[dice.Below(Paths)]; }

    // The places of destroyed handlers are never used again.
    StormHandler* MakeHandler(int slot)
    {
        const std::scoped_lock lock(mutex);
        auto& place = places.emplace_back();
        return new (place.data()) StormHandler(*this, fates.emplace_back(), slot);
    }
    static void Destroy(StormHandler* handler)
    {
        handler->~StormHandler();
        new (static_cast<void*>(handler)) Trap;
    }

    Dice dice;
    TempFolder folder;
    std::array<CString, Paths> paths;
    std::mutex mutex;
    std::deque<StormIo> ios;                                                   // guarded by mutex
    std::deque<Fate> fates;                                                    // guarded by mutex
    std::deque<std::array<std::max_align_t, sizeof(StormHandler) / 8>> places; // guarded by mutex
    std::array<std::shared_ptr<CDirectoryChangeWatcher>, Watchers> watchers;   // guarded by mutex
    std::array<StormIo*, Watchers> currentIos{};                               // guarded by mutex
    // The thread that takes a handler out may use and destroy it.
    std::array<std::atomic<StormHandler*>, Threads * HandlersAThread> handlers{};
    std::atomic<int> lateEvents{0}, events{0}, begun{0}, destroyedInside{0};
    std::atomic<bool> calm{false}; // events do nothing more
};

// As the header asks of handlers whose events use their members.
StormHandler::~StormHandler()
{
    {
        const std::scoped_lock lock(m_fate.beginning);
        m_fate.mayBegin = false;
    }
    for (int i = 0; i < Watchers; ++i) {
        std::shared_ptr<CDirectoryChangeWatcher> watcher;
        {
            const std::scoped_lock lock(m_world.mutex);
            watcher = m_world.watchers[i];
        }
        watcher->UnwatchDirectory(this);
    }
}

// Ends all watches of a handler that its thread has taken out; from inside an event, too.
void EndAllWatchesOf(World& world, StormHandler& handler)
{
    {
        const std::scoped_lock lock(handler.ItsFate().beginning);
        handler.ItsFate().mayBegin = false;
    }
    for (int i = 0; i < Watchers; ++i) {
        std::shared_ptr<CDirectoryChangeWatcher> watcher;
        {
            const std::scoped_lock lock(world.mutex);
            watcher = world.watchers[i];
        }
        watcher->UnwatchDirectory(&handler);
    }
}

void BeginFromInside(World& world, Fate& fate, CDirectoryChangeWatcher& watcher, StormHandler* handler)
{
    const std::scoped_lock lock(fate.beginning);
    if (!fate.mayBegin)
        return;
    ++fate.begins;
    if (watcher.WatchDirectory(world.AnyPath(), handler) == ERROR_SUCCESS)
        ++world.begun;
    --fate.begins;
}

// Destroys the handler of the slot, if it is the wanted one (null: any) and no other thread has taken it out. A handler
// that a call in progress names stays.
void DestroyFromInside(World& world, int slot, StormHandler* wanted)
{
    StormHandler* const taken = world.handlers[slot].exchange(nullptr);
    if (!taken)
        return;
    bool mayGo = !wanted || taken == wanted;
    {
        const std::scoped_lock lock(taken->ItsFate().beginning);
        mayGo = mayGo && taken->ItsFate().begins == 0;
    }
    if (mayGo) {
        World::Destroy(taken);
        ++world.destroyedInside;
    }
    world.handlers[slot] = mayGo ? world.MakeHandler(slot) : taken;
}

class EventScope
{
public:
    EventScope(int& depth, Fate& fate) : m_depth(depth), m_fate(fate)
    {
        ++m_depth;
        ++m_fate.eventsInProgress;
    }
    ~EventScope()
    {
        --m_depth;
        --m_fate.eventsInProgress;
    }
    EventScope(const EventScope&) = delete;
    EventScope& operator=(const EventScope&) = delete;

private:
    int& m_depth;
    Fate& m_fate;
};

// Only the fate is used once something has been called: the handler may be destroyed meanwhile, from an event inside
// this one.
void StormHandler::OnEvent()
{
    thread_local int depth = 0;
    World& world = m_world;
    Fate& fate = m_fate;
    StormHandler* const self = this;
    const int slot = m_slot;
    ++world.events;
    if (fate.silent)
        ++world.lateEvents;
    if (world.calm || depth >= DeepestEvent)
        return;
    const EventScope scope(depth, fate);
    const std::shared_ptr<CDirectoryChangeWatcher> watcher = world.AnyWatcher();
    switch (world.dice.Below(24)) {
    case 0:
        watcher->UnwatchDirectory(self);
        break;
    case 1:
        watcher->UnwatchDirectory(world.AnyPath().GetString());
        break;
    case 2:
        watcher->UnwatchAllDirectories();
        break;
    case 3:
    case 4:
    case 5:
        BeginFromInside(world, fate, *watcher, self);
        break;
    case 6:
        DestroyFromInside(world, slot, self);
        break;
    case 7:
        DestroyFromInside(world, static_cast<int>(world.dice.Below(Threads * HandlersAThread)), nullptr);
        break;
    default:
        break;
    }
}

class EngineStorm : public testing::Test
{
protected:
    // One step of a thread with one of its handlers. Returns what it was, for the watchdog.
    static const char* Choose(World& world, unsigned& choice)
    {
        static constexpr const char* names[] = {"watch",           "unwatch path",    "unwatch handler", "unwatch all",
                                                "destroy handler", "replace watcher", "change",          "loss",
                                                "failed read"};
        static constexpr unsigned weights[] = {10, 4, 4, 1, 2, 1, 12, 2, 1};
        unsigned number = world.dice.Below(37);
        for (choice = 0; number >= weights[choice]; ++choice)
            number -= weights[choice];
        return names[choice];
    }

    static void Perform(World& world, unsigned choice, int slot)
    {
        RecordBuffer change;
        switch (choice) {
        case 1:
            world.AnyWatcher()->UnwatchDirectory(world.AnyPath().GetString());
            return;
        case 3:
            world.AnyWatcher()->UnwatchAllDirectories();
            return;
        case 5:
            world.ReplaceWatcher(static_cast<int>(world.dice.Below(Watchers)));
            return;
        case 6:
            for (unsigned i = world.dice.Below(20); i > 0; --i)
                change.Add(1, L"file" + std::to_wstring(i));
            world.AnyIo().CompleteOne(world.dice.Below(Paths), change.Add(1, L"last").Bytes());
            return;
        case 7:
            world.AnyIo().CompleteOne(world.dice.Below(Paths), {});
            return;
        case 8:
            world.AnyIo().FailOne(world.dice.Below(Paths));
            return;
        default:
            PerformWithHandler(world, choice, slot);
        }
    }

    static void PerformWithHandler(World& world, unsigned choice, int slot)
    {
        StormHandler* handler = world.handlers[slot].exchange(nullptr);
        if (!handler)
            return; // an event is destroying it
        Fate& fate = handler->ItsFate();
        if (choice == 0) {
            {
                const std::scoped_lock lock(fate.beginning);
                fate.mayBegin = true;
                fate.silent = false;
            }
            if (world.AnyWatcher()->WatchDirectory(world.AnyPath(), handler) == ERROR_SUCCESS)
                ++world.begun;
        } else {
            EndAllWatchesOf(world, *handler);
            // A watcher that was replaced meanwhile has ended its watches, or is about to.
            if (choice == 4) {
                World::Destroy(handler);
                fate.silent = true;
                world.lateEvents += fate.eventsInProgress;
                handler = world.MakeHandler(slot);
            } else if (handler->AddRef() == 2) {
                fate.silent = true;
            }
            if (choice != 4)
                handler->Release();
        }
        world.handlers[slot] = handler;
    }

    static void Run(World& world, ProgressWatchdog& watchdog, int thread, unsigned steps)
    {
        for (unsigned step = 0; step < steps; ++step) {
            unsigned choice = 0;
            watchdog.Step(static_cast<std::size_t>(thread), Choose(world, choice));
            Perform(world, choice, thread * HandlersAThread + static_cast<int>(world.dice.Below(HandlersAThread)));
        }
        watchdog.Step(static_cast<std::size_t>(thread), "done");
    }

    static void EndEverything(World& world)
    {
        world.calm = true;
        for (const auto& watcher : world.watchers)
            watcher->UnwatchAllDirectories();
        // An event that destroys a replaced watcher leaves the watch whose event it is to the notifier.
        EndingWatches::Instance().EndAndWait({});
        EXPECT_TRUE(EndingWatches::Instance().IsEmpty());
        world.watchers.front()->UnwatchAllDirectories(); // waits for a notifier that has no user any more
        for (const auto& handler : world.handlers) {
            EXPECT_EQ(handler.load()->AddRef(), 2) << "a watch still holds a handler";
            handler.load()->Release();
            World::Destroy(handler);
        }
        EXPECT_EQ(CDelayedNotificationThread::CurrentThreadId(), 0u);
    }

    static void Storm(unsigned seed, unsigned steps)
    {
        // A worker that was killed by another test has left the record of a read that never comes back.
        const int recordsBefore = CDirWatchInfo::LiveCount();
        World world(seed);
        g_postDice = &world.dice;
        const PostFunctionScope post(PostThatIsRefusedNowAndThen);
        const MostQueuedScope queued(64);
        ProgressWatchdog watchdog("storm of the engine with seed " + std::to_string(seed), Threads + 1);
        std::vector<std::thread> threads;
        for (int thread = 0; thread < Threads; ++thread)
            threads.emplace_back([&, thread] { Run(world, watchdog, thread, steps / Threads); });
        for (std::thread& thread : threads)
            thread.join();
        watchdog.Step(Threads, "end everything");
        EndEverything(world);
        EXPECT_EQ(CDirWatchInfo::LiveCount(), recordsBefore) << "seed " << seed;
        EXPECT_EQ(world.lateEvents, 0) << "seed " << seed;
        EXPECT_EQ(Trap::s_sprung, 0) << "seed " << seed;
        EXPECT_GT(world.begun, 0);
        std::printf(
            "storm of the engine: seed %u, %u steps, %d watches, %d events, %d handlers destroyed inside events\n",
            seed, steps, world.begun.load(), world.events.load(), world.destroyedInside.load());
    }
};

TEST_F(EngineStorm, NothingHangsComesLateOrIsLeftOver)
{
    const unsigned seed = FromEnvironment("ORB_ENGINE_SEED", 1);
    const unsigned steps = FromEnvironment("ORB_ENGINE_STEPS", 3000);
    Storm(seed, steps);
}

} // namespace
