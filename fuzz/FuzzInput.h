// The parts that the targets share: the input as text, and a check.
#pragma once

#include "xml/Utf8.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

// A target ends with a finding where this does not hold.
inline void Require(bool holds)
{
    if (!holds)
        std::abort();
}

inline std::string_view AsBytes(const std::uint8_t* data, std::size_t size)
{
    return {reinterpret_cast<const char*>(data), size};
}

// 16-bit units of UTF-8, so that dictionaries and seeds are readable.
inline std::wstring AsUnits(std::string_view bytes)
{
    std::wstring units(CountUnits(bytes), L'\0');
    DecodeUtf8(bytes, units.data());
    return units;
}

// Takes the first line off the input; the rest stays.
inline std::wstring TakeLine(std::string_view& bytes)
{
    const std::string_view line = bytes.substr(0, bytes.find('\n'));
    bytes.remove_prefix(line.size() == bytes.size() ? line.size() : line.size() + 1);
    return AsUnits(line);
}
