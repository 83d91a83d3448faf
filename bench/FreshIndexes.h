// Databases of an index that nothing was written to since its items were recorded.
#pragma once

#include "bench/IndexItems.h"
#include "tests/support/TempFolder.h"

#include <windows.h>

#include <stdexcept>

class FreshIndexes
{
public:
    explicit FreshIndexes(std::size_t items)
    {
        CIndexDB database;
        database.SetDBFilePath(m_folder.Path(freshName));
        std::vector<ItemDatum> all;
        for (std::size_t number = 0; number < items; ++number)
            all.push_back(IndexItem(number));
        if (!database.Open(1, 0, 0) || !database.RecordItems(all))
            throw std::runtime_error("the index cannot be made");
    }

    // Makes the database new and returns its path, which is always the same.
    CString MakeFresh() const
    {
        const CString path = m_folder.Path(L"Index.db");
        for (const wchar_t* ending : {L"", L"-wal", L"-shm"})
            DeleteFileW(path + ending);
        if (!CopyFileW(m_folder.Path(freshName), path, TRUE))
            throw std::runtime_error("the index cannot be copied");
        return path;
    }

private:
    static constexpr const wchar_t* freshName = L"Fresh.db";

    TempFolder m_folder;
};
