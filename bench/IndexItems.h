// Items of an index, as a backup of many folders leaves them.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>
#include <vector>

// The number tells the path; files of one folder have numbers side by side.
inline std::wstring ItemPath(std::size_t number)
{
    constexpr std::size_t filesAFolder = 20, foldersAProject = 25;
    const std::size_t folder = number / filesAFolder;
    return L"C:\\Users\\someone\\Documents\\project " + std::to_wstring(folder / foldersAProject) + L"\\part " +
           std::to_wstring(folder) + L"\\document " + std::to_wstring(number) + L".docx";
}

inline ItemDatum IndexItem(std::size_t number)
{
    ItemDatum item;
    item.path = ItemPath(number).c_str();
    item.modificationTime = 133'000'000'000'000'000ull + number;
    return item;
}

// Looks all paths up, in their order. `find(path, datum)` returns whether the path was found; each must be, or none.
// `asked` must outlive the result.
template <typename Find>
auto LookingUp(const std::vector<std::wstring>& asked, Find find, bool held = true)
{
    return [&asked, find, held](benchmark::State& state) {
        for (auto _ : state) {
            std::size_t found = 0;
            CachedDatum datum;
            for (const std::wstring& path : asked)
                found += find(path, datum);
            if (found != (held ? asked.size() : 0))
                state.SkipWithError("not what the index holds was found");
        }
    };
}
