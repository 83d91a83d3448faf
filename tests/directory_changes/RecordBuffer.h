// Builds what the system writes into a watch's buffer.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

class RecordBuffer
{
public:
    RecordBuffer& Add(std::uint32_t action, const std::wstring& name)
    {
        if (!m_bytes.empty()) {
            m_bytes.resize((m_bytes.size() + 3) / 4 * 4);
            Set(m_last, static_cast<std::uint32_t>(m_bytes.size() - m_last));
        }
        m_last = m_bytes.size();
        m_bytes.resize(m_last + 12 + name.size() * 2);
        Set(m_last + 4, action);
        Set(m_last + 8, static_cast<std::uint32_t>(name.size() * 2));
        for (std::size_t i = 0; i < name.size(); ++i) {
            const auto unit = static_cast<std::uint16_t>(name[i]);
            std::memcpy(&m_bytes[m_last + 12 + i * 2], &unit, 2);
        }
        return *this;
    }
    void Set(std::size_t offset, std::uint32_t value) { std::memcpy(&m_bytes[offset], &value, 4); }
    std::vector<std::uint8_t>& Bytes() { return m_bytes; }

private:
    std::vector<std::uint8_t> m_bytes;
    std::size_t m_last = 0;
};
