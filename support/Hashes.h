/// @file
/// MurmurHash3 (public domain reference algorithms, x86 forms) over UTF-16LE units. Neither seed nor input may change:
/// the keys are compared with those of other programs and kept in databases. Any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// Returns the 32-bit form of the bytes' hash.
std::uint32_t MurmurHash3x86_32(const void* data, std::size_t length, std::uint32_t seed);
/// Returns the 128-bit form of the bytes' hash.
std::array<std::uint32_t, 4> MurmurHash3x86_128(const void* data, std::size_t length, std::uint32_t seed);

/// Returns the hash for tables that are keyed by wide strings: 32-bit form, seed 0xDEADBEEF, over the units as they
/// are. byteLength is twice the number of units.
std::uint32_t HashWideString32(const wchar_t* text, int byteLength);

/// Returns the key of a path: 128-bit form, seed 4919, over the path with A to Z lower-cased.
std::array<std::uint32_t, 4> HashPathKey128(std::wstring_view path);
/// Returns the first two words of that key, the first one low.
std::uint64_t PathHash64(std::wstring_view path);
