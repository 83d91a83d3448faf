// A test with a data folder of its own, and what goes to the log meanwhile.
#pragma once

#include "companions/logging/OrbLogging.h"
#include "companions/settings/DataFolder.h"
#include "tests/support/Said.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <string>
#include <vector>

class CompanionTest : public testing::Test
{
protected:
    CompanionTest() { UseDataFolder(temp.Path(L"data")); }
    ~CompanionTest() override
    {
        SetEnvironmentVariableW(L"ORB_DATA_FOLDER", m_before.c_str());
        g_OrbLog.Close();
    }

    void UseDataFolder(const wchar_t* folder)
    {
        g_OrbLog.Close();
        SetEnvironmentVariableW(L"ORB_DATA_FOLDER", folder);
    }

    bool Exists(const wchar_t* name) const { return GetFileAttributesW(temp.Path(name)) != INVALID_FILE_ATTRIBUTES; }

    TempFolder temp;

private:
    std::wstring m_before = DataFolder::Environment(L"ORB_DATA_FOLDER");
};

// Collects the log's lines for as long as it lives.
class LogCapture
{
public:
    explicit LogCapture(COrbLog& log = g_OrbLog)
        : m_log(log),
          m_token(log.AddSink([this](const LogLine& line) {
              texts.push_back(line.text);
              levels.push_back(line.level);
          }))
    {
    }
    ~LogCapture() { m_log.RemoveSink(m_token); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // Returns whether a line contains the part.
    testing::AssertionResult Has(const wchar_t* part) const
    {
        return SaidInLog(std::any_of(texts.begin(), texts.end(),
                                     [&](const std::wstring& text) { return text.find(part) != std::wstring::npos; }),
                         texts);
    }

    std::vector<std::wstring> texts;
    std::vector<LogLevel> levels;

private:
    COrbLog& m_log;
    std::uint64_t m_token;
};
