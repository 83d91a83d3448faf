// The index in memory: how much of it a million items take, and how long it takes to find one by its path.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/IndexItems.h"
#include "bench/MemoryUse.h"
#include "companions/indexdb/ItemCache.h"
#include "support/Hashes.h"
#include "tests/support/TempFolder.h"

#include <algorithm>
#include <random>
#include <stdexcept>
#include <unordered_map>
#include <vector>

namespace
{

constexpr std::size_t items = 1'000'000;

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

// A database of them, whose cache is loaded as a service does it.
void LoadCacheOf(const CString& path)
{
    CIndexDB database;
    database.SetDBFilePath(path);
    std::vector<ItemDatum> all;
    all.reserve(items);
    for (std::size_t number = 0; number < items; ++number)
        all.push_back(IndexItem(number));
    if (!database.Open(1, 0, 0) || !database.RecordItems(all) || !database.LoadCache())
        throw std::runtime_error("the index cannot be made");
}

void FindByPath()
{
    const TempFolder folder;
    LoadCacheOf(folder.Path(L"Index.db"));
    std::unordered_map<std::wstring, CachedDatum> plain;
    plain.reserve(items);
    std::vector<std::wstring> asked;
    for (std::size_t number = 0; number < items; ++number) {
        asked.push_back(ItemPath(number));
        plain.emplace(asked.back(), Cached(IndexItem(number)));
    }
    std::shuffle(asked.begin(), asked.end(), std::mt19937(1));
    Contest("index-lookup", {{"items", items}, {"look-ups", items}})
        .Ours(LookingUp(asked, [](const std::wstring& path,
                                  CachedDatum& datum) { return CIndexDB::GetCachedData(path.c_str(), datum); }))
        .Against("std::unordered_map<std::wstring, CachedDatum>", 1.5,
                 LookingUp(asked,
                           [&](const std::wstring& path, CachedDatum& datum) {
                               const auto found = plain.find(path);
                               if (found == plain.end())
                                   return false;
                               datum = found->second;
                               return true;
                           }))
        .OnceARound()
        .Run();
    CIndexDB::ClearCache();
}

const Case holdAMillionItems("index-memory", HoldAMillionItems);
const Case findByPath("index-lookup", FindByPath);

} // namespace
