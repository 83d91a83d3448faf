#include "orbwatcher4/filter/ScanBounds.h"

#include "support/CaseFold.h"

std::size_t FoldedHash::operator()(const CString& path) const { return HashNoCase(path.View()); }

bool FoldedEqual::operator()(const CString& left, const CString& right) const
{
    return EqualNoCase(left.View(), right.View());
}

CString AsFolder(CString path)
{
    if (path.IsEmpty() || path[path.GetLength() - 1] != L'\\')
        path += L'\\';
    return path;
}

ScanBounds::ScanBounds(const ScanLists& lists)
{
    for (const CString& folder : lists.exclusions)
        m_exclusions.insert(AsFolder(folder));
    for (const ScanLists::Root& root : lists.roots)
        if (root.includeSub)
            m_deepRoots.insert(AsFolder(root.path));
}

bool ScanBounds::IsExcluded(const CString& folder) const { return m_exclusions.contains(AsFolder(folder)); }

ScanBounds::Cover ScanBounds::CoverOf(CString folder) const
{
    folder = AsFolder(folder);
    while (!folder.IsEmpty()) {
        if (m_exclusions.contains(folder))
            return Cover::Excluded;
        if (m_deepRoots.contains(folder))
            return Cover::Walked;
        folder = folder.Left(folder.GetLength() - 1);
        folder = folder.Left(folder.ReverseFind(L'\\') + 1);
    }
    return Cover::None;
}

const CString* ScanBounds::RootSpelling(const CString& folder) const
{
    const auto found = m_deepRoots.find(AsFolder(folder));
    return found == m_deepRoots.end() ? nullptr : &*found;
}
