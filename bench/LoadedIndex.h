// An index in a database, and its cache in the memory of this process, as a service loads it.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"
#include "tests/support/TempFolder.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

class LoadedIndex
{
public:
    explicit LoadedIndex(std::vector<ItemDatum> items)
    {
        // The table is ordered by these keys: in their order it is written several times as fast.
        std::vector<std::pair<std::uint64_t, std::size_t>> order;
        order.reserve(items.size());
        for (std::size_t i = 0; i < items.size(); ++i)
            order.emplace_back(CIndexDB::CalculateUuid(items[i].path), i);
        std::sort(order.begin(), order.end(), [](const auto& left, const auto& right) {
            return static_cast<std::int64_t>(left.first) < static_cast<std::int64_t>(right.first);
        });
        std::vector<ItemDatum> sorted;
        sorted.reserve(items.size());
        for (const auto& [key, place] : order)
            sorted.push_back(std::move(items[place]));
        CIndexDB database;
        database.SetDBFilePath(Path());
        if (!database.Open(1, 0, 0) || !database.RecordItems(sorted) || !database.LoadCache())
            throw std::runtime_error("the index cannot be made");
    }
    ~LoadedIndex() { CIndexDB::ClearCache(); }
    LoadedIndex(const LoadedIndex&) = delete;
    LoadedIndex& operator=(const LoadedIndex&) = delete;

    CString Path() const { return m_folder.Path(L"Index.db"); }

private:
    TempFolder m_folder;
};
