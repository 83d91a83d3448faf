#include "companions/settings/FolderUse.h"

#include "support/SameFile.h"

#include <vector>

namespace
{

constexpr std::size_t LongestText = 32768; // units

CString TextAt(const CServiceRunSettings& settings, const wchar_t* key)
{
    std::vector<wchar_t> text(LongestText);
    return settings.GetValue(key, text.data(), text.size()) ? CString(text.data()) : CString();
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
    return {TextAt(settings, SelectionKey), TextAt(settings, IndexKey)};
}

CString GetFolderIndexIdentity()
{
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.Load();
    return TextAt(settings, IndexIdentityKey);
}

bool SetFolderIndexIdentity(const CString& identity)
{
    CServiceRunSettings& settings = GetServiceRunSettings();
    settings.SetValue(IndexIdentityKey, identity);
    return settings.Save();
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
    settings.SetValue(IndexIdentityKey, L""); // that of the earlier owner
    settings.SetValue(SelectionNoteKey, L"");
    settings.SetValue(DestinationsNoteKey, L"");
    settings.SetValue(FullDueReasonKey, L"");
    settings.SetValue(FirstTimeRunTimeKey, 0);
    return settings.Save();
}
