#include "support/FileDigest.h"

#include <string>

void FileDigest::Add(const void* bytes, std::size_t count)
{
    constexpr std::uint64_t prime = 1099511628211u;
    const auto* byte = static_cast<const unsigned char*>(bytes);
    for (std::size_t i = 0; i < count; ++i)
        m_hash = (m_hash ^ byte[i]) * prime;
    m_length += count;
}

CString FileDigest::Text() const
{
    std::wstring text = std::to_wstring(m_length) + L' ';
    for (int shift = 60; shift >= 0; shift -= 4)
        text += L"0123456789abcdef"[m_hash >> shift & 15];
    return CString(std::wstring_view(text));
}
