// UTF-8 to 16-bit units and back, in the exact dialect of the product's files.
//
// It is written here and not taken from a library because files from the field
// hold bytes that a strict converter refuses: nothing is ever refused, what
// cannot be read becomes "?" and surrogates are not checked. Any thread may call
// these functions; they keep nothing.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// How many units DecodeUtf8 writes for these bytes.
std::size_t CountUnits(std::string_view bytes);
// Writes the units and returns their number; `units` has room for CountUnits of
// them. The text ends at the first decoded zero. A sequence that the end of the
// data cuts short is dropped.
std::size_t DecodeUtf8(std::string_view bytes, wchar_t* units);

// Any surrogate joins with whatever unit follows it; one at the end becomes "?".
std::string EncodeUtf8(std::wstring_view units);
