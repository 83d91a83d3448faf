// Items of an index, as a backup of many folders leaves them.
#pragma once

#include "companions/indexdb/OrbIndexDB.h"

#include <cstddef>
#include <string>

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
