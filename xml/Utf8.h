// Conversion between UTF-8 and 16-bit units, in the exact dialect of the product's files.
//
// No library does this, because files from the field hold bytes that a strict converter refuses. This one refuses
// nothing: bytes that cannot be read become "?", and surrogates are not checked. Any thread may call these functions;
// they keep no state.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Returns how many units DecodeUtf8 writes for these bytes.
std::size_t CountUnits(std::string_view bytes);
// Writes the units and returns their number; `units` has room for CountUnits of them. The text ends at the first
// decoded zero. A sequence that is incomplete at the end of the data is dropped.
std::size_t DecodeUtf8(std::string_view bytes, wchar_t* units);

// Encodes the units. Any surrogate joins with the unit behind it, whatever that is; a surrogate at the end becomes "?".
std::string EncodeUtf8(std::wstring_view units);
