#include "companions/settings/FolderUse.h"

#include "support/SameFile.h"

#include <vector>

namespace
{

constexpr const wchar_t* SelectionKey = L"Backup::Selection";
constexpr const wchar_t* IndexKey = L"Backup::Index";
constexpr std::size_t LongestPath = 32768; // units

CString PathAt(const CServiceRunSettings& settings, const wchar_t* key)
{
    std::vector<wchar_t> path(LongestPath);
    return settings.GetValue(key, path.data(), path.size()) ? CString(path.data()) : CString();
}

bool MayBeSame(const CString& left, const CString& right)
{
    return left.IsEmpty() || right.IsEmpty() || IsSameFile(left, right);
}

void Put(CServiceRunSettings& settings, const FolderUse& use)
{
    if (!use.selection.IsEmpty())
        settings.SetValue(SelectionKey, AbsolutePath(use.selection));
    if (!use.index.IsEmpty())
        settings.SetValue(IndexKey, AbsolutePath(use.index));
}

} // namespace

FolderUse GetFolderUse()
{
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.Load();
    return {PathAt(settings, SelectionKey), PathAt(settings, IndexKey)};
}

bool AreSameUse(const FolderUse& left, const FolderUse& right)
{
    return MayBeSame(left.selection, right.selection) && MayBeSame(left.index, right.index);
}

bool SetFolderUse(const FolderUse& use)
{
    CServiceRunSettings& settings = GetServiceRunSettings();
    Put(settings, use);
    return settings.Save();
}

bool TakeOverFolder(const FolderUse& use)
{
    CServiceRunSettings& settings = GetServiceRunSettings();
    Put(settings, use);
    settings.SetValue(FirstTimeRunTimeKey, 0);
    return settings.Save();
}
