// The log lines of one test. Any thread may write them.
#pragma once

#include "companions/logging/OrbLogging.h"
#include "tests/support/Said.h"

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

class LogCapture
{
public:
    struct Line {
        LogLevel level;
        std::wstring source;
        int sourceLine;
        std::wstring text;
    };

    LogCapture()
        : m_token(g_OrbLog.AddSink([this](const LogLine& line) {
              const std::scoped_lock lock(m_mutex);
              m_lines.push_back({line.level, line.source, line.sourceLine, line.text});
          }))
    {
    }
    ~LogCapture() { g_OrbLog.RemoveSink(m_token); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<Line> Lines() const
    {
        const std::scoped_lock lock(m_mutex);
        return m_lines;
    }
    // Returns the number of lines that are exactly this text.
    int Count(const std::wstring& text) const
    {
        const std::vector<Line> lines = Lines();
        return static_cast<int>(
            std::count_if(lines.begin(), lines.end(), [&](const Line& line) { return line.text == text; }));
    }
    // Returns whether a line is exactly this text.
    testing::AssertionResult Has(const std::wstring& text) const
    {
        std::vector<std::wstring> texts;
        for (const Line& line : Lines())
            texts.push_back(line.text);
        return SaidInLog(std::find(texts.begin(), texts.end(), text) != texts.end(), texts);
    }
    void Clear()
    {
        const std::scoped_lock lock(m_mutex);
        std::vector<Line>().swap(m_lines); // with its memory
    }

private:
    mutable std::mutex m_mutex;
    std::vector<Line> m_lines;
    const std::uint64_t m_token;
};
