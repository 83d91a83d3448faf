// A million pending changes: putting them in, finding them, taking them out, and what they need of memory. Beside it
// stands a hash map of the same paths; where memory is compared, the map shares equal notifications as the store does.
//
// The cases do not show a store that several threads use at once, nor changes that many different rules have selected:
// all notifications of these are equal.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/MemoryUse.h"
#include "orbwatcher4/QueueDatum.h"
#include "orbwatcher4/core/pending/NotificationStore.h"
#include "orbwatcher4/core/pending/SharedNotifications.h"
#include "support/CaseFold.h"

#include <stdexcept>
#include <string>
#include <unordered_map>

namespace
{

constexpr int many = 1'000'000;
constexpr int few = 10'000;

CString PathOf(int number)
{
    const std::wstring folder = L"C:\\Users\\somebody\\Documents\\project " + std::to_wstring(number / 100);
    return CString(std::wstring_view(folder + L"\\page " + std::to_wstring(number) + L".docx"));
}

// One of its own for each change, as the change handler makes them.
NotificationPtr MakeNotification()
{
    static const CString profile(L"My Documents"), number(L"7");
    auto notification = std::make_shared<Notification>();
    notification->firstText = profile;
    notification->secondText = number;
    notification->ruleFlags = QueueFlags::ShowOverlay;
    return notification;
}

struct HashPath {
    std::size_t operator()(const CString& path) const { return HashNoCase(path.View()); }
};
struct EqualPath {
    bool operator()(const CString& left, const CString& right) const { return EqualNoCase(left.View(), right.View()); }
};
using Rival = std::unordered_map<CString, NotificationPtr, HashPath, EqualPath>;
const char* const rivalName = "std::unordered_map";

struct Change {
    CString path;
    NotificationPtr notification;
};

const std::vector<Change>& Changes()
{
    static const std::vector<Change> all = [] {
        std::vector<Change> changes;
        changes.reserve(many);
        for (int number = 0; number < many; ++number)
            changes.push_back({PathOf(number), MakeNotification()});
        return changes;
    }();
    return all;
}

// As the service drains: each entry in a round of its own.
std::size_t Drain(NotificationStore& store)
{
    std::size_t drained = 0;
    NotificationStore::Entry entry;
    for (store.BeginRound(); store.NextInRound(entry); store.BeginRound())
        drained += store.EraseVisited();
    return drained;
}

std::size_t Drain(Rival& rival)
{
    std::size_t drained = 0;
    for (auto next = rival.begin(); next != rival.end(); ++drained) {
        const Change taken{next->first, next->second};
        next = rival.erase(next);
    }
    return drained;
}

void FillFindAndDrain(benchmark::State& state)
{
    const std::vector<Change>& changes = Changes();
    for (auto _ : state) {
        NotificationStore store;
        std::size_t found = 0;
        for (const Change& change : changes)
            store.Put(change.path, change.notification);
        for (const Change& change : changes)
            found += store.Find(change.path) != nullptr;
        if (found != changes.size() || Drain(store) != changes.size())
            state.SkipWithError("not all was found");
    }
}

void FillFindAndDrainRival(benchmark::State& state)
{
    const std::vector<Change>& changes = Changes();
    for (auto _ : state) {
        Rival rival;
        std::size_t found = 0;
        for (const Change& change : changes)
            rival.emplace(change.path, change.notification);
        for (const Change& change : changes) {
            const auto at = rival.find(change.path);
            const NotificationPtr notification = at == rival.end() ? nullptr : at->second;
            found += notification != nullptr;
        }
        if (found != changes.size() || Drain(rival) != changes.size())
            state.SkipWithError("not all was found");
    }
}

void FillFindAndDrainStores()
{
    Contest("store", {{"notifications", many}})
        .Ours(FillFindAndDrain)
        .Against(rivalName, 1, FillFindAndDrainRival)
        .OnceARound()
        .Run();
}

// Both are filled from nothing and kept, so that neither gets memory that the other has given back.
void HoldStores()
{
    const std::uint64_t before = MemoryInUse();
    NotificationStore store;
    for (int number = 0; number < many; ++number)
        store.Put(PathOf(number), MakeNotification());
    const std::uint64_t between = MemoryInUse();
    Rival rival;
    SharedNotifications shared;
    for (int number = 0; number < many; ++number)
        rival.emplace(PathOf(number), shared.InPlaceOf(MakeNotification()));
    const std::uint64_t after = MemoryInUse();
    if (store.LiveCount() != many || rival.size() != many)
        throw std::runtime_error("not all is held");
    Print({"store-memory",
           static_cast<double>(between - before) / 1e6,
           "MB",
           "std::unordered_map, equal notifications shared",
           static_cast<double>(after - between) / 1e6,
           0.7,
           {{"notifications", many}, {"path units", PathOf(many / 2).GetLength()}}});
}

// Drains `many` entries, `held` of them from each store; what fills the stores does not count.
Contest::Work DrainHolding(int held)
{
    return [held](benchmark::State& state) {
        for (auto _ : state) {
            state.PauseTiming();
            std::vector<NotificationStore> stores(static_cast<std::size_t>(many / held));
            int number = 0;
            for (NotificationStore& store : stores)
                for (int end = number + held; number < end; ++number)
                    store.Put(PathOf(number), MakeNotification());
            state.ResumeTiming();
            std::size_t drained = 0;
            for (NotificationStore& store : stores)
                drained += Drain(store);
            if (drained != many)
                state.SkipWithError("not all was drained");
            state.PauseTiming();
            stores.clear();
            state.ResumeTiming();
        }
    };
}

void DrainStores()
{
    Contest("store-drain", {{"drained", many}, {"of one store", many}, {"of each small one", few}})
        .Ours(DrainHolding(many))
        .Against("as many, ten thousand at a time", 1.2, DrainHolding(few))
        .Rounds(15)
        .OnceARound()
        .Run();
}

const Case fillFindAndDrain("store", FillFindAndDrainStores);
const Case hold("store-memory", HoldStores);
const Case drain("store-drain", DrainStores);

} // namespace
