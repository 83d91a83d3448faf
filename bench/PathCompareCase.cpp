// The cost of the guards against forged keys: an item is found by its key and counts only if its path is the same, and
// what is remembered in memory goes by a fingerprint under a secret.
#include "bench/Case.h"
#include "bench/Contest.h"
#include "bench/IndexItems.h"
#include "companions/indexdb/ItemCache.h"
#include "support/Hashes.h"
#include "support/PathFingerprint.h"

#include <algorithm>
#include <random>
#include <vector>

namespace
{

constexpr std::size_t items = 200'000;

std::vector<std::wstring> PathsInAnyOrder()
{
    std::vector<std::wstring> paths;
    for (std::size_t number = 0; number < items; ++number)
        paths.push_back(ItemPath(number));
    std::shuffle(paths.begin(), paths.end(), std::mt19937(1));
    return paths;
}

void Fill(ItemCache& cache)
{
    for (std::size_t number = 0; number < items; ++number) {
        const ItemDatum item = IndexItem(number);
        CachedDatum datum;
        datum.path = item.path;
        datum.id = CIndexDB::CalculateUuid(item.path);
        datum.modificationTime = item.modificationTime;
        cache.Put(datum, 0);
    }
}

void FindAndCompare()
{
    ItemCache cache;
    Fill(cache);
    const std::vector<std::wstring> asked = PathsInAnyOrder();
    Contest("path-compare", {{"items", items}})
        .Ours(LookingUp(asked,
                        [&](const std::wstring& path, CachedDatum& datum) {
                            return cache.Find(CIndexDB::CalculateUuid(path.c_str()), datum) &&
                                   CIndexDB::IsItemOf(path.c_str(), datum);
                        }))
        .Against("the look-up by key alone", 1.5,
                 LookingUp(asked,
                           [&](const std::wstring& path, CachedDatum& datum) {
                               return cache.Find(CIndexDB::CalculateUuid(path.c_str()), datum);
                           }))
        .OnceARound()
        .Run();
}

void MakeFingerprints()
{
    const std::vector<std::wstring> asked = PathsInAnyOrder();
    const auto hashing = [&](auto hash) {
        return [&, hash](benchmark::State& state) {
            for (auto _ : state)
                for (const std::wstring& path : asked)
                    benchmark::DoNotOptimize(hash(path));
        };
    };
    Contest("fingerprint", {{"paths", items}})
        .Ours(hashing([](const std::wstring& path) { return FingerprintOf(path); }))
        .Against("the shared key of the path", 1.0, hashing([](const std::wstring& path) { return PathHash64(path); }))
        .OnceARound()
        .Run();
}

const Case findAndCompare("path-compare", FindAndCompare);
const Case makeFingerprints("fingerprint", MakeFingerprints);

} // namespace
