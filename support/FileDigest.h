// The length and a checksum of a file, to find out whether it is still as it was written. The checksum finds damage,
// not forgery. Portable. One thread at a time.
#pragma once

#include "mfc/CString.h"

#include <cstddef>
#include <cstdint>

class FileDigest
{
public:
    void Add(const void* bytes, std::size_t count);
    std::uint64_t Length() const { return m_length; }
    // Returns the length in bytes, a blank and 16 hexadecimal digits. The settings keep this text.
    CString Text() const;

private:
    std::uint64_t m_length = 0;
    std::uint64_t m_hash = 14695981039346656037u; // FNV-1a
};
