#include "tests/selftest/Report.h"
#include "tests/selftest/ReportText.h"

namespace
{

using Outcome = TestResult::Outcome;

std::string Counts(const std::vector<ProgramResult>& results)
{
    int tests = 0, failed = 0, skipped = 0;
    double seconds = 0;
    for (const ProgramResult& program : results) {
        tests += static_cast<int>(program.tests.size());
        failed += program.Count(Outcome::Failed);
        skipped += program.Count(Outcome::Skipped);
        seconds += program.seconds;
    }
    return " tests=\"" + std::to_string(tests) + "\" failures=\"" + std::to_string(failed) +
           "\" errors=\"0\" skipped=\"" + std::to_string(skipped) + "\" time=\"" + Seconds(seconds) + "\"";
}

std::string FirstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

std::string Case(const std::string& program, const TestResult& test)
{
    const std::size_t point = test.name.find('.');
    std::string text = "    <testcase classname=\"" + Escaped(program + "." + test.name.substr(0, point)) +
                       "\" name=\"" + Escaped(test.name.substr(point + 1)) + "\" time=\"" + Seconds(test.seconds) +
                       "\"";
    if (test.outcome == Outcome::Passed)
        return text + "/>\n";
    if (test.outcome == Outcome::Skipped)
        return text + "><skipped message=\"" + Escaped(test.text) + "\"/></testcase>\n";
    return text + "><failure message=\"" + Escaped(FirstLine(test.text)) + "\">" + Escaped(test.text) +
           "</failure></testcase>\n";
}

std::string Properties(const MachineFacts& facts)
{
    std::string text = "    <properties>\n";
    for (const auto& [name, value] : facts)
        text += "      <property name=\"" + Escaped(name) + "\" value=\"" + Escaped(value) + "\"/>\n";
    return text + "    </properties>\n";
}

} // namespace

std::string JUnitReport(const MachineFacts& facts, const std::vector<ProgramResult>& results)
{
    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites name=\"OrbWatcher4\"" + Counts(results) + ">\n";
    for (const ProgramResult& program : results) {
        text += "  <testsuite name=\"" + Escaped(program.name) + "\"" + Counts({program}) + ">\n" + Properties(facts);
        for (const TestResult& test : program.tests)
            text += Case(program.name, test);
        text += "  </testsuite>\n";
    }
    return text + "</testsuites>\n";
}
