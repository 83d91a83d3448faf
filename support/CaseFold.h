// Comparing paths without regard to case: ordinal, unit by unit, with the
// operating system's upper-case table. No locale has a say. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// The upper-case form of one UTF-16 unit; surrogates are their own.
std::uint16_t UpperUnit(std::uint16_t unit) noexcept;
// The same for those who ask for very many: the forms of all 65,536 units, which stay as long as the program runs.
const std::uint16_t* UpperUnits() noexcept;

// Negative, zero or positive, by the upper-case forms.
int CompareNoCase(std::wstring_view left, std::wstring_view right) noexcept;
bool EqualNoCase(std::wstring_view left, std::wstring_view right) noexcept;
bool BeginsNoCase(std::wstring_view text, std::wstring_view prefix) noexcept;
bool EndsNoCase(std::wstring_view text, std::wstring_view suffix) noexcept;

// FNV-1a over upper-case units, for those who hash unit by unit: from the seed, each unit mixed in.
inline constexpr std::uint64_t FoldedHashSeed = 0xCBF29CE484222325ull;
constexpr std::uint64_t MixFolded(std::uint64_t hash, std::uint16_t upper) noexcept
{
    return (hash ^ upper) * 0x100000001B3ull;
}
// A hash that is equal for texts that EqualNoCase calls equal.
std::size_t HashNoCase(std::wstring_view text) noexcept;
