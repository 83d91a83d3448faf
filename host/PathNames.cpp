#include "host/PathNames.h"

#include "support/CaseFold.h"
#include "support/SystemPath.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <string_view>

using namespace std::string_view_literals;

namespace
{

constexpr std::array Devices = {L"CON"sv, L"PRN"sv, L"AUX"sv, L"NUL"sv};
constexpr std::array NumberedDevices = {L"COM"sv, L"LPT"sv};

bool IsDevice(std::wstring_view stem)
{
    const auto is = [&](std::wstring_view device) { return EqualNoCase(stem, device); };
    const auto isNumbered = [&](std::wstring_view device) {
        return stem.size() == 4 && EqualNoCase(stem.substr(0, 3), device) && stem[3] >= L'1' && stem[3] <= L'9';
    };
    return std::ranges::any_of(Devices, is) || std::ranges::any_of(NumberedDevices, isNumbered);
}

DWORD AttributesOf(const std::wstring& path) { return GetFileAttributesW(SystemPath(path.c_str())); }

} // namespace

wchar_t ImpossibleUnitIn(std::wstring path)
{
    if (path.starts_with(L"\\\\?\\"))
        path.erase(0, 4);
    std::size_t at = path.find_first_of(L"<>\"|?*");
    if (at == std::wstring::npos)
        at = path.find(L':', 2);
    return at == std::wstring::npos ? L'\0' : path[at];
}

std::wstring DeviceNameIn(const std::wstring& path)
{
    if (path.starts_with(L"\\\\?\\"))
        return {};
    const std::wstring name = path.substr(path.find_last_of(L"\\/") + 1);
    std::wstring stem = name.substr(0, name.find(L'.'));
    while (stem.ends_with(L' '))
        stem.pop_back();
    return IsDevice(stem) ? name : L"";
}

std::wstring FileInTheWay(std::wstring path)
{
    while (!path.empty() && AttributesOf(path) == INVALID_FILE_ATTRIBUTES)
        path.resize(path.find_last_of(L'\\') == std::wstring::npos ? 0 : path.find_last_of(L'\\'));
    const bool file = !path.empty() && !(AttributesOf(path) & FILE_ATTRIBUTE_DIRECTORY);
    return file ? path : L"";
}
