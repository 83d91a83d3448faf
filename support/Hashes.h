/// @file
/// MurmurHash3 (public domain reference algorithms, x86 forms) over UTF-16LE
/// units. The keys are compared with those of other programs and kept in
/// databases, so that neither seed nor input may change. Any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// The 32-bit form of the bytes.
std::uint32_t MurmurHash3x86_32(const void* data, std::size_t length, std::uint32_t seed);
/// The 128-bit form of the bytes.
std::array<std::uint32_t, 4> MurmurHash3x86_128(const void* data, std::size_t length, std::uint32_t seed);

/// The hash of the tables keyed by wide strings: 32-bit form, seed 0xDEADBEEF, the units as they
/// stand. byteLength is twice the number of units.
std::uint32_t HashWideString32(const wchar_t* text, int byteLength);

/// The key of a path: 128-bit form, seed 4919, over the path with A to Z lower-cased.
std::array<std::uint32_t, 4> HashPathKey128(std::wstring_view path);
/// Its first two words, the first one low.
std::uint64_t PathHash64(std::wstring_view path);
