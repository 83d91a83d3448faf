#include "orbwatcher4/core/pending/DumpLines.h"

void DumpLines::Feed(wchar_t unit, const std::function<void(const CString&)>& line)
{
    m_atLineEnd = unit == L'\n';
    if (unit != L'\n') {
        m_tooLong = m_tooLong || m_line.size() >= LongestLine;
        if (!m_tooLong)
            m_line.push_back(unit);
        return;
    }
    m_passedOver = m_passedOver || m_tooLong;
    if (!m_tooLong && !m_line.empty())
        line(CString(m_line.data(), static_cast<int>(m_line.size())));
    m_line.clear();
    m_tooLong = false;
}
