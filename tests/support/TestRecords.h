// The records of a run of a test program, a line each: so another program knows how each test ended, and which test
// was running when this program crashed or was killed. tests/selftest reads the lines.
//
//     {"begun":"Suite.Test"}
//     {"ended":"Suite.Test","result":"passed","seconds":0.25}
//     {"ended":"Suite.Test","result":"skipped","seconds":0,"text":"why"}
//     {"ended":"Suite.Test","result":"failed","seconds":0.5,"text":"file(line): what was expected"}
//     {"over":true}
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

class TestRecords : public testing::EmptyTestEventListener
{
public:
    // The file begins anew.
    explicit TestRecords(const std::filesystem::path& file);

private:
    void OnTestStart(const testing::TestInfo& test) override;
    void OnTestEnd(const testing::TestInfo& test) override;
    void OnTestProgramEnd(const testing::UnitTest& program) override;

    std::ofstream m_lines;
};
