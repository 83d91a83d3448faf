// Reparse data as the system lays it out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

using Bytes = std::vector<std::byte>;

inline void PutNumber(Bytes& bytes, std::uint32_t value, int size)
{
    for (int i = 0; i < size; ++i)
        bytes.push_back(static_cast<std::byte>(value >> (8 * i) & 0xFF));
}

inline void PutText(Bytes& bytes, std::wstring_view text)
{
    for (const wchar_t unit : text)
        PutNumber(bytes, static_cast<std::uint32_t>(unit), 2);
}

// The print name stands first, so that the substitute name has an offset.
inline Bytes NamesOf(std::wstring_view substitute, std::wstring_view print, const Bytes& flags)
{
    Bytes data;
    PutNumber(data, static_cast<std::uint32_t>(print.size() * 2), 2);
    PutNumber(data, static_cast<std::uint32_t>(substitute.size() * 2), 2);
    PutNumber(data, 0, 2);
    PutNumber(data, static_cast<std::uint32_t>(print.size() * 2), 2);
    data.insert(data.end(), flags.begin(), flags.end());
    PutText(data, print);
    PutText(data, substitute);
    return data;
}

inline Bytes WithHeader(std::uint32_t tag, const Bytes& data)
{
    Bytes bytes;
    PutNumber(bytes, tag, 4);
    PutNumber(bytes, static_cast<std::uint32_t>(data.size()), 2);
    PutNumber(bytes, 0, 2);
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

inline Bytes MountPoint(std::wstring_view substitute)
{
    return WithHeader(0xA0000003, NamesOf(substitute, L"shown", {}));
}

inline Bytes SymbolicLink(std::wstring_view substitute, bool relative)
{
    Bytes flags;
    PutNumber(flags, relative ? 1 : 0, 4);
    return WithHeader(0xA000000C, NamesOf(substitute, L"shown", flags));
}
