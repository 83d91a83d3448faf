// The index in memory: how much of it a million items take, and how long it takes to find one by its path. Beside it
// stands a hash map that compares paths exactly, while the index compares without regard to case. Asked are paths that
// the index holds, paths that it does not hold, and held ones with letters that are not ASCII.
//
// The case does not show several threads that ask at once, nor a process whose memory is swapped out.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/IndexItems.h"
#include "bench/LoadedIndex.h"
#include "bench/MemoryUse.h"
#include "companions/indexdb/ItemCache.h"
#include "support/Hashes.h"

#include <algorithm>
#include <random>
#include <stdexcept>
#include <unordered_map>
#include <vector>

namespace
{

constexpr std::size_t items = 1'000'000;
constexpr std::size_t lookUps = 250'000;

CachedDatum Cached(const ItemDatum& item)
{
    CachedDatum datum;
    datum.path = item.path;
    datum.id = CIndexDB::CalculateUuid(item.path);
    datum.modificationTime = item.modificationTime;
    return datum;
}

// Beside the text of each item's path: of the folders' paths and the names, each of which is held once.
void HoldAMillionItems()
{
    std::size_t units = 0;
    std::size_t heldUnits = 0;
    std::wstring lastFolder;
    const auto count = [&](const std::wstring& path) {
        const std::size_t slash = path.rfind(L'\\');
        units += path.size();
        heldUnits += path.size() - slash - 1;
        if (path.compare(0, slash, lastFolder) == 0)
            return;
        lastFolder = path.substr(0, slash);
        heldUnits += lastFolder.size();
    };
    for (std::size_t number = 0; number < items; ++number)
        count(ItemPath(number));

    const std::uint64_t before = MemoryInUse();
    ItemCache cache;
    for (std::size_t number = 0; number < items; ++number)
        cache.Put(Cached(IndexItem(number)), 0);
    const auto needed = static_cast<double>(MemoryInUse() - before);
    if (cache.Size() != items)
        throw std::runtime_error("items are missing");
    const auto bytesAnItem = [&](double bytes) { return bytes / double(items); };
    const double text = double(heldUnits) * sizeof(wchar_t);
    Print({"index-memory",
           bytesAnItem(needed - text),
           "bytes an item beside its text",
           "",
           {},
           64,
           {{"items", items},
            {"bytes an item", bytesAnItem(needed)},
            {"bytes of text held an item", bytesAnItem(text)},
            {"bytes of whole path an item", bytesAnItem(double(units) * sizeof(wchar_t))},
            {"folders", cache.Folders()},
            {"most megabytes ever", static_cast<double>(PeakOfMemory() - before) / 1e6}}});
}

using PlainMap = std::unordered_map<std::wstring, CachedDatum>;

PlainMap PlainMapOfAll()
{
    PlainMap plain;
    plain.reserve(LoadedIndex::Items);
    for (std::size_t number = 0; number < LoadedIndex::Items; ++number) {
        ItemDatum item = IndexItem(number);
        item.path = LoadedIndex::PathOf(number).c_str();
        plain.emplace(item.path.GetString(), Cached(item));
    }
    return plain;
}

enum class Asked { Held, Missing, Foreign };

// Paths that the index holds, or files of the same folders that it does not hold.
std::vector<std::wstring> PathsToAsk(Asked kind)
{
    std::vector<std::wstring> asked;
    asked.reserve(LoadedIndex::Items);
    for (std::size_t number = 0; number < LoadedIndex::Items; ++number) {
        if (LoadedIndex::IsForeign(number) != (kind == Asked::Foreign) && kind != Asked::Missing)
            continue;
        asked.push_back(LoadedIndex::PathOf(number));
        if (kind == Asked::Missing)
            asked.back() += L'x';
    }
    std::shuffle(asked.begin(), asked.end(), std::mt19937(1));
    asked.resize(lookUps);
    return asked;
}

void FindByPath(const char* name, Asked kind, const PlainMap& plain)
{
    const std::vector<std::wstring> asked = PathsToAsk(kind);
    const bool held = kind != Asked::Missing;
    const auto ours = [](const std::wstring& path, CachedDatum& datum) {
        return CIndexDB::GetCachedData(path.c_str(), datum);
    };
    const auto rival = [&](const std::wstring& path, CachedDatum& datum) {
        const auto found = plain.find(path);
        if (found == plain.end())
            return false;
        datum = found->second;
        return true;
    };
    Contest(name, {{"items", LoadedIndex::Items}, {"look-ups", lookUps}})
        .Ours(LookingUp(asked, ours, held))
        .Against("std::unordered_map<std::wstring, CachedDatum>", 1.5, LookingUp(asked, rival, held))
        .OnceARound()
        .Run();
}

void FindAllKinds()
{
    const PlainMap plain = PlainMapOfAll();
    const LoadedIndex index;
    FindByPath("index-lookup", Asked::Held, plain);
    FindByPath("index-lookup-missing", Asked::Missing, plain);
    FindByPath("index-lookup-foreign", Asked::Foreign, plain);
}

const Case holdAMillionItems("index-memory", HoldAMillionItems);
const Case findByPath("index-lookup", FindAllKinds);

} // namespace
