// Compares paths without regard to case: ordinal, unit by unit, with the operating system's upper-case table. No locale
// has an influence. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// Returns the upper-case form of one UTF-16 unit; a surrogate is its own form.
std::uint16_t UpperUnit(std::uint16_t unit) noexcept;
// Returns the forms of all 65,536 units, for callers that need very many. The table lives as long as the program.
const std::uint16_t* UpperUnits() noexcept;

// Compares the upper-case forms: the result is negative, zero or positive.
int CompareNoCase(std::wstring_view left, std::wstring_view right) noexcept;
bool EqualNoCase(std::wstring_view left, std::wstring_view right) noexcept;
bool BeginsNoCase(std::wstring_view text, std::wstring_view prefix) noexcept;
bool EndsNoCase(std::wstring_view text, std::wstring_view suffix) noexcept;

// FNV-1a over upper-case units, for callers that hash unit by unit: begin with the seed and mix in each unit.
inline constexpr std::uint64_t FoldedHashSeed = 0xCBF29CE484222325ull;
constexpr std::uint64_t MixFolded(std::uint64_t hash, std::uint16_t upper) noexcept
{
    return (hash ^ upper) * 0x100000001B3ull;
}
// Returns a hash that is equal for texts that EqualNoCase calls equal.
std::size_t HashNoCase(std::wstring_view text) noexcept;
