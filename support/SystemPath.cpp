#include "support/SystemPath.h"

#include <string_view>

namespace
{

constexpr std::wstring_view Prefix = L"\\\\?\\";
constexpr std::wstring_view SharePrefix = L"\\\\?\\UNC\\";

bool IsLetter(wchar_t unit) { return (unit >= L'A' && unit <= L'Z') || (unit >= L'a' && unit <= L'z'); }

// Returns true when no name needs the system's rewriting. A backslash at the end is allowed.
bool NamesStandAsTheyAre(std::wstring_view names)
{
    while (!names.empty()) {
        const std::wstring_view name = names.substr(0, names.find(L'\\'));
        if (name.empty() || name == L"." || name == L".." || name.find(L'/') != name.npos)
            return false;
        names.remove_prefix(name.size() == names.size() ? name.size() : name.size() + 1);
    }
    return true;
}

} // namespace

CString SystemPath(const wchar_t* plain)
{
    const std::wstring_view path(plain);
    std::wstring form;
    if (path.size() > 2 && IsLetter(path[0]) && path[1] == L':' && path[2] == L'\\' &&
        NamesStandAsTheyAre(path.substr(3)))
        form = Prefix;
    const bool share = path.starts_with(L"\\\\") && !path.starts_with(L"\\\\?") && !path.starts_with(L"\\\\.");
    if (share && path.size() > 2 && NamesStandAsTheyAre(path.substr(2)))
        return CString((form.append(SharePrefix).append(path.substr(2))).c_str());
    return CString(form.append(path).c_str());
}

CString PlainPath(const wchar_t* prefixed)
{
    const std::wstring_view path(prefixed);
    if (path.starts_with(SharePrefix))
        return CString((L"\\\\" + std::wstring(path.substr(SharePrefix.size()))).c_str());
    return CString(prefixed + (path.starts_with(Prefix) ? Prefix.size() : 0));
}
