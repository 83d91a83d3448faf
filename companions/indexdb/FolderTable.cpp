#include "companions/indexdb/FolderTable.h"

std::uint32_t FolderTable::Enter(std::wstring_view path)
{
    const std::uint64_t id = path.empty() ? 0 : PathHash64(path);
    const SlotTable::Slot known =
        m_numbers.Find(id, [&](std::uint32_t other) { return Id(other) == id && Path(other) == path; });
    if (known != SlotTable::None) {
        ++m_folders[known].items;
        return known;
    }
    const std::uint32_t number = m_folders.Take();
    m_folders[number] = {std::wstring(path), id, 1};
    m_numbers.Insert(id, number, [this](std::uint32_t other) { return Id(other); });
    CountInAncestors(path, 1);
    return number;
}

// Folders come and go for as long as the service runs, so an empty one frees its path.
void FolderTable::Leave(std::uint32_t number)
{
    Folder& folder = m_folders[number];
    if (--folder.items > 0)
        return;
    m_numbers.Erase(folder.id, number, [this](std::uint32_t other) { return Id(other); });
    CountInAncestors(folder.path, static_cast<std::uint32_t>(-1));
    m_folders.Release(number);
}

void FolderTable::CountInAncestors(std::wstring_view path, std::uint32_t change)
{
    std::wstring_view ancestor = m_folding.Fold(path);
    while (!ancestor.empty()) {
        const auto count = m_subtrees.insert({PathFolding::KeyOfFolded(ancestor), 0}).first;
        count->second += change;
        if (count->second == 0)
            m_subtrees.erase(count);
        const std::size_t slash = ancestor.rfind(L'\\');
        ancestor = ancestor.substr(0, slash == std::wstring_view::npos ? 0 : slash);
    }
}
