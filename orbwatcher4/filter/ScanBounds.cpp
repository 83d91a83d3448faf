#include "orbwatcher4/filter/ScanBounds.h"

#include "support/Backslash.h"

ScanBounds::ScanBounds(const ScanLists& lists)
{
    for (const CString& folder : lists.exclusions)
        m_exclusions.insert(WithBackslash(folder));
    for (const ScanLists::Root& root : lists.roots)
        if (root.includeSub)
            m_deepRoots.insert(WithBackslash(root.path));
}

bool ScanBounds::IsExcluded(const CString& folder) const { return m_exclusions.contains(WithBackslash(folder)); }

ScanBounds::Cover ScanBounds::CoverOf(CString folder) const
{
    folder = WithBackslash(folder);
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
    const auto found = m_deepRoots.find(WithBackslash(folder));
    return found == m_deepRoots.end() ? nullptr : &*found;
}
