#include "tests/selftest/TestResults.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string_view>

namespace
{

using Json = nlohmann::json;
using Outcome = TestResult::Outcome;

Outcome OutcomeOf(const std::string& result)
{
    return result == "passed" ? Outcome::Passed : result == "skipped" ? Outcome::Skipped : Outcome::Failed;
}

void Take(const Json& record, RecordedRun& run)
{
    run.begun = true;
    if (record.contains("begun"))
        run.running = record.value("begun", "");
    if (record.contains("ended")) {
        run.running.clear();
        run.tests.push_back({record.value("ended", ""), OutcomeOf(record.value("result", "")),
                             record.value("seconds", 0.0), record.value("text", "")});
    }
    run.over = run.over || record.value("over", false);
}

bool IsSoundEnd(const RecordedRun& run, const ProgramEnd& end)
{
    const bool hasFailed = std::any_of(run.tests.begin(), run.tests.end(),
                                       [](const TestResult& test) { return test.outcome == Outcome::Failed; });
    return end.inTime && run.over && (end.exitCode == 0 || hasFailed);
}

} // namespace

int ProgramResult::Count(Outcome outcome) const
{
    return static_cast<int>(
        std::count_if(tests.begin(), tests.end(), [&](const TestResult& test) { return test.outcome == outcome; }));
}

RecordedRun ReadRecords(std::istream& lines)
{
    RecordedRun run;
    for (std::string line; std::getline(lines, line);)
        if (const Json record = Json::parse(line, nullptr, false); record.is_object())
            Take(record, run);
    return run;
}

ProgramResult JudgeRun(const std::string& program, RecordedRun run, const ProgramEnd& end)
{
    if (!IsSoundEnd(run, end)) {
        const std::string when = !run.running.empty() ? " during this test" : run.begun ? "" : " before its first test";
        std::string text = "the program " + end.ending + when;
        if (!end.output.empty())
            text += "; it printed last:\n" + end.output;
        run.tests.push_back({run.running.empty() ? program + ".Program" : run.running, Outcome::Failed, 0, text});
    }
    return {program, 0, std::move(run.tests)};
}

std::vector<std::string> NeedAnAdministrator(const ProgramResult& result)
{
    std::vector<std::string> names;
    for (const TestResult& test : result.tests)
        if (test.outcome == Outcome::Skipped && test.text.starts_with("needs an administrator"))
            names.push_back(test.name);
    return names;
}

void TakeSecondRun(ProgramResult& result, const ProgramResult& second)
{
    result.seconds += second.seconds;
    for (TestResult test : second.tests) {
        test.asAdministrator = true;
        const auto first = std::find_if(result.tests.begin(), result.tests.end(),
                                        [&](const TestResult& one) { return one.name == test.name; });
        if (first != result.tests.end())
            *first = std::move(test);
        else
            result.tests.push_back(std::move(test));
    }
}
