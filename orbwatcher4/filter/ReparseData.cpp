#include "orbwatcher4/filter/ReparseData.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace
{

constexpr std::uint32_t MountPointTag = 0xA0000003;
constexpr std::uint32_t SymbolicLinkTag = 0xA000000C;
constexpr std::uint32_t RelativeFlag = 1;
constexpr std::size_t HeaderSize = 8;
constexpr std::size_t MountPointNames = 16;
constexpr std::size_t SymbolicLinkNames = 20;
constexpr std::wstring_view ObjectPrefix = L"\\??\\";

std::uint32_t Number(std::span<const std::byte> data, std::size_t offset, std::size_t size)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < size; ++i)
        value |= std::to_integer<std::uint32_t>(data[offset + i]) << (8 * i);
    return value;
}

// Returns the substitute name; nothing when it lies outside of the variable part.
std::optional<std::wstring> SubstituteName(std::span<const std::byte> data, std::size_t names)
{
    const std::size_t offset = names + Number(data, HeaderSize, 2);
    const std::size_t length = Number(data, HeaderSize + 2, 2);
    if (length % 2 != 0 || offset + length > data.size())
        return std::nullopt;
    std::wstring name;
    for (std::size_t at = offset; at < offset + length; at += 2)
        name += static_cast<wchar_t>(Number(data, at, 2));
    if (name.find(L'\0') != std::wstring::npos)
        return std::nullopt;
    if (name.starts_with(ObjectPrefix))
        name.erase(0, ObjectPrefix.size());
    if (name.empty())
        return std::nullopt;
    return name;
}

constexpr std::wstring_view Separators = L"\\/";

// Returns the drive or share with the backslash after it.
std::wstring_view RootPart(std::wstring_view path)
{
    const std::size_t server = path.starts_with(L"\\\\") ? path.find(L'\\', 2) : 0;
    const std::size_t end = server == path.npos ? server : path.find(L'\\', server + 1);
    return end == path.npos ? path : path.substr(0, end + 1);
}

void AppendNames(std::vector<std::wstring_view>& names, std::wstring_view path)
{
    while (!path.empty()) {
        const std::wstring_view name = path.substr(0, path.find_first_of(Separators));
        path.remove_prefix(std::min(path.size(), name.size() + 1));
        if (name == L".." && !names.empty())
            names.pop_back();
        else if (!name.empty() && name != L"." && name != L"..")
            names.push_back(name);
    }
}

} // namespace

ReparseKind ParseReparseData(std::span<const std::byte> data, ReparseTarget& target)
{
    if (data.size() < HeaderSize)
        return ReparseKind::Damaged;
    const std::uint32_t tag = Number(data, 0, 4);
    if (tag != MountPointTag && tag != SymbolicLinkTag)
        return ReparseKind::NoLink;
    const std::size_t names = tag == MountPointTag ? MountPointNames : SymbolicLinkNames;
    const std::size_t whole = HeaderSize + Number(data, 4, 2);
    if (whole > data.size() || whole < names)
        return ReparseKind::Damaged;
    const std::optional<std::wstring> name = SubstituteName(data.first(whole), names);
    if (!name)
        return ReparseKind::Damaged;
    target.name = CString(std::wstring_view(*name));
    target.relative = tag == SymbolicLinkTag && (Number(data, 16, 4) & RelativeFlag);
    return ReparseKind::Link;
}

CString ResolveRelative(const CString& link, const CString& target)
{
    const std::wstring_view root = RootPart(link.View());
    std::vector<std::wstring_view> names;
    // A target that begins with a backslash starts at the root.
    if (Separators.find(target[0]) == Separators.npos) {
        AppendNames(names, link.View().substr(root.size()));
        if (!names.empty())
            names.pop_back();
    }
    AppendNames(names, target.View());
    CString path(root);
    for (const std::wstring_view name : names) {
        if (path.View().back() != L'\\')
            path += L'\\';
        path += name;
    }
    return path;
}
