#include "bench/LoadedIndex.h"

#include "bench/IndexItems.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace
{

void Require(bool good)
{
    if (!good)
        throw std::runtime_error("the index cannot be made");
}

std::vector<ItemDatum> AllItems()
{
    std::vector<ItemDatum> items;
    items.reserve(LoadedIndex::Items);
    for (std::size_t number = 0; number < LoadedIndex::Items; ++number) {
        ItemDatum item = IndexItem(number);
        item.path = LoadedIndex::PathOf(number).c_str();
        items.push_back(std::move(item));
    }
    return items;
}

void Make(const std::filesystem::path& file)
{
    for (const wchar_t* ending : {L"", L"-wal", L"-shm"})
        std::filesystem::remove(file.wstring() + ending);
    CIndexDB database;
    database.SetDBFilePath(file.c_str());
    Require(database.Open(1, 0, 0) && database.RecordItems(AllItems()));
}

} // namespace

LoadedIndex::LoadedIndex()
{
    const std::filesystem::path file = std::filesystem::absolute("index of " + std::to_string(Items) + ".db");
    const std::filesystem::path whole = file.wstring() + L" is whole";
    if (!std::filesystem::exists(whole)) {
        Make(file);
        std::ofstream{whole};
    }
    m_database = file.c_str();
    CIndexDB database;
    database.SetDBFilePath(m_database);
    Require(database.Open(1, 0, 0) && database.LoadCache());
}

std::wstring LoadedIndex::PathOf(std::size_t number)
{
    static const wchar_t* const words[] = {L"Übersicht", L"Résumé", L"Отчёт", L"Έκθεση"};
    std::wstring path = ItemPath(number);
    if (IsForeign(number))
        path.replace(path.rfind(L'\\') + 1, std::wstring_view(L"document").size(), words[number / 4 % 4]);
    return path;
}
