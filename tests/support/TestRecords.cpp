#include "tests/support/TestRecords.h"

#include <nlohmann/json.hpp>

namespace
{

using Json = nlohmann::json;

std::string NameOf(const testing::TestInfo& test) { return std::string(test.test_suite_name()) + "." + test.name(); }

const char* ResultOf(const testing::TestResult& result)
{
    return result.Failed() ? "failed" : result.Skipped() ? "skipped" : "passed";
}

// The last part of a path, whichever slashes it has.
std::string FileName(const std::string& path) { return path.substr(path.find_last_of("/\\") + 1); }

// Returns the reason of a skipped test, or each failure with its place.
std::string TextOf(const testing::TestResult& result)
{
    std::string text;
    for (int i = 0; i < result.total_part_count(); ++i) {
        const testing::TestPartResult& part = result.GetTestPartResult(i);
        if (part.passed())
            continue;
        text += text.empty() ? "" : "\n";
        if (part.failed() && part.file_name())
            text += FileName(part.file_name()) + "(" + std::to_string(part.line_number()) + "): ";
        text += part.message();
    }
    return text;
}

// Texts of tests may hold bytes that are no UTF-8.
std::string Line(const Json& record) { return record.dump(-1, ' ', false, Json::error_handler_t::replace); }

} // namespace

TestRecords::TestRecords(const std::filesystem::path& file) : m_lines(file, std::ios::binary | std::ios::trunc) {}

void TestRecords::OnTestStart(const testing::TestInfo& test)
{
    m_lines << Line({{"begun", NameOf(test)}}) << std::endl;
}

void TestRecords::OnTestEnd(const testing::TestInfo& test)
{
    const testing::TestResult& result = *test.result();
    Json record = {{"ended", NameOf(test)},
                   {"result", ResultOf(result)},
                   {"seconds", static_cast<double>(result.elapsed_time()) / 1000}};
    if (std::string text = TextOf(result); !text.empty())
        record["text"] = std::move(text);
    m_lines << Line(record) << std::endl;
}

void TestRecords::OnTestProgramEnd(const testing::UnitTest&) { m_lines << Line({{"over", true}}) << std::endl; }
