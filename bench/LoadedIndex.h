// An index of a million items in the memory of this process, loaded from a database as a service loads it.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"

#include <cstddef>
#include <string>

// The database is made once and kept for later runs: that takes much longer than loading it.
class LoadedIndex
{
public:
    static constexpr std::size_t Items = 1'000'000;

    LoadedIndex();
    ~LoadedIndex() { CIndexDB::ClearCache(); }
    LoadedIndex(const LoadedIndex&) = delete;
    LoadedIndex& operator=(const LoadedIndex&) = delete;

    const CString& Database() const { return m_database; }

    // The path of an item. Every fourth one has a name with letters that are not ASCII, as many people's files have.
    static std::wstring PathOf(std::size_t number);
    static bool IsForeign(std::size_t number) { return number % 4 == 0; }

private:
    CString m_database;
};
