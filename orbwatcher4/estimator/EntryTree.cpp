#include "orbwatcher4/estimator/EntryTree.h"

#include "support/CaseFold.h"

#include <windows.h>

#include <algorithm>
#include <memory>
#include <new>

namespace
{

constexpr const wchar_t* DeletedName = L"?"; // no name of a Windows file

FSEntry Named(const CString& name)
{
    FSEntry entry;
    entry.name = name;
    return entry;
}

// Returns the same unit for all spellings that a disk treats as one name.
wchar_t LowerUnit(wchar_t unit)
{
    const auto upper = static_cast<wchar_t>(UpperUnit(static_cast<std::uint16_t>(unit)));
    if (upper < 0x80)
        return upper >= L'A' && upper <= L'Z' ? static_cast<wchar_t>(upper + (L'a' - L'A')) : upper;
    wchar_t lower = upper;
    LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_LOWERCASE, &upper, 1, &lower, 1, nullptr, nullptr, 0);
    // The lower case of some letters also belongs to another letter; these letters stay as they are.
    return UpperUnit(static_cast<std::uint16_t>(lower)) == upper ? lower : upper;
}

// Returns the components in lower case, without empty ones. A share's server keeps its two backslashes, without which
// the joined path would be no share.
std::vector<CString> ComponentsOf(const wchar_t* path)
{
    const std::wstring_view text = path ? path : L"";
    std::vector<CString> components;
    std::size_t begin = text.find_first_not_of(L'\\');
    const bool share = begin != std::wstring_view::npos && begin >= 2;
    while (begin != std::wstring_view::npos) {
        const std::size_t end = std::min(text.find(L'\\', begin), text.size());
        std::wstring component(share && components.empty() ? L"\\\\" : L"");
        std::transform(text.begin() + begin, text.begin() + end, std::back_inserter(component), LowerUnit);
        components.emplace_back(std::wstring_view(component));
        begin = text.find_first_not_of(L'\\', end);
    }
    return components;
}

void AddChildren(const FSEntrySet& set, std::vector<FSEntrySetPtr>& children)
{
    for (const FSEntry& entry : set)
        if (entry.children)
            children.push_back(entry.children);
}

// Destroys nested sets one by one: destroying them inside each other would recurse, and a tree may be deeper than the
// stack. If there is no memory for the list, they are destroyed recursively, because a destructor cannot report a
// failure.
void TakeApart(FSEntrySet* taken)
{
    std::unique_ptr<FSEntrySet> set(taken);
    std::vector<FSEntrySetPtr> below;
    try {
        AddChildren(*set, below);
        set.reset();
        while (!below.empty()) {
            const FSEntrySetPtr next = std::move(below.back());
            below.pop_back();
            if (next.use_count() == 1)
                AddChildren(*next, below);
        }
    } catch (const std::bad_alloc&) {
    }
}

FSEntrySetPtr CreateFolder(FSEntrySet& parent, const CString& name)
{
    FSEntry folder = Named(name);
    folder.children = MakeEntrySet();
    parent.erase(folder); // it may be there as a file
    parent.insert(folder);
    return folder.children;
}

FSEntrySetPtr SetOfLast(const FSEntrySetPtr& root, const std::vector<CString>& components, bool create)
{
    if (components.empty() || std::find(components.begin(), components.end(), DeletedName) != components.end())
        return nullptr;
    FSEntrySetPtr set = root;
    for (std::size_t i = 0; set && i + 1 < components.size(); ++i) {
        const auto found = set->find(Named(components[i]));
        const FSEntrySetPtr children = found == set->end() ? nullptr : found->children;
        set = children || !create ? children : CreateFolder(*set, components[i]);
    }
    return set;
}

} // namespace

FSEntrySetPtr MakeEntrySet()
{
    auto set = std::make_unique<FSEntrySet>();
    set->set_empty_key(FSEntry());
    set->set_deleted_key(Named(DeletedName));
    return FSEntrySetPtr(set.release(), &TakeApart);
}

FSEntrySetPtr FindOrCreateEntrySet(const FSEntrySetPtr& root, const wchar_t* path, bool create)
{
    return SetOfLast(root, ComponentsOf(path), create);
}

const FSEntry* IsPathCached(const FSEntrySetPtr& root, const wchar_t* path)
{
    const std::vector<CString> components = ComponentsOf(path);
    const FSEntrySetPtr set = SetOfLast(root, components, false);
    if (!set)
        return nullptr;
    const auto found = set->find(Named(components.back()));
    return found == set->end() ? nullptr : &*found;
}

FSEntry InsertFile(const FSEntrySetPtr& root, const wchar_t* path, std::uint64_t size)
{
    const std::vector<CString> components = ComponentsOf(path);
    FSEntry file = Named(components.empty() ? CString() : components.back());
    file.size = size;
    if (const FSEntrySetPtr set = SetOfLast(root, components, true))
        set->insert(file);
    return file;
}

EntryWalk::EntryWalk(const SetPtr& set, const wchar_t* parentPath) : m_path(parentPath)
{
    if (set)
        Enter(set);
}

void EntryWalk::Enter(const SetPtr& set) { m_folders.push_back({set, set->begin(), m_path.GetLength()}); }

EntryWalk::Step EntryWalk::Next()
{
    if (m_folders.empty())
        return Step::Done;
    Folder& folder = m_folders.back();
    m_path = m_path.Left(folder.pathLength);
    if (folder.next == folder.set->end()) {
        m_folders.pop_back();
        return m_folders.empty() ? Step::Done : Step::FolderEnds;
    }
    const FSEntry& entry = *folder.next++;
    if (!m_path.IsEmpty())
        m_path += L'\\';
    m_path += entry.name;
    if (!entry.children) {
        m_file = &entry;
        return Step::File;
    }
    Enter(entry.children);
    return Step::FolderBegins;
}
