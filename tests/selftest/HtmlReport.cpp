#include "tests/selftest/Report.h"
#include "tests/selftest/ReportText.h"

#include <map>

namespace
{

using Outcome = TestResult::Outcome;

constexpr const char* Head = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Self-test of OrbWatcher4</title>
<style>
:root { color-scheme: light dark; }
body { font: 16px/1.5 system-ui, sans-serif; max-width: 60rem; margin: 2rem auto; padding: 0 1rem; }
table { border-collapse: collapse; }
td, th { padding: .2rem .8rem; text-align: left; vertical-align: top; border-bottom: 1px solid #8884; }
td.number { text-align: right; font-variant-numeric: tabular-nums; }
pre { white-space: pre-wrap; overflow-wrap: anywhere; padding: .6rem; border: 1px solid #8884; }
.failed { color: #c22; font-weight: 600; }
</style>
</head>
<body>
)";

std::string Heading(const std::string& text) { return "<h2>" + Escaped(text) + "</h2>\n"; }
std::string Cell(const std::string& text) { return "<td>" + Escaped(text) + "</td>"; }
std::string Number(const std::string& text, bool bad = false)
{
    return std::string("<td class=\"number") + (bad ? " failed" : "") + "\">" + text + "</td>";
}

std::string FactsTable(const MachineFacts& facts)
{
    std::string text = "<table>\n";
    for (const auto& [name, value] : facts)
        text += "<tr><th scope=\"row\">" + Escaped(name) + "</th>" + Cell(value) + "</tr>\n";
    return text + "</table>\n";
}

std::string ProgramsTable(const std::vector<ProgramResult>& results)
{
    std::string text = "<table>\n<tr><th>Program</th><th>Passed</th><th>Failed</th><th>Skipped</th><th>Seconds</th>"
                       "</tr>\n";
    for (const ProgramResult& program : results) {
        const int failed = program.Count(Outcome::Failed);
        text += "<tr>" + Cell(program.name) + Number(std::to_string(program.Count(Outcome::Passed))) +
                Number(std::to_string(failed), failed > 0) + Number(std::to_string(program.Count(Outcome::Skipped))) +
                Number(Seconds(program.seconds)) + "</tr>\n";
    }
    return text + "</table>\n";
}

std::string FullName(const ProgramResult& program, const TestResult& test) { return program.name + ": " + test.name; }

std::string Failures(const std::vector<ProgramResult>& results)
{
    std::string text;
    for (const ProgramResult& program : results)
        for (const TestResult& test : program.tests)
            if (test.outcome == Outcome::Failed)
                text += "<h3 class=\"failed\">" + Escaped(FullName(program, test)) + "</h3>\n" +
                        (test.asAdministrator ? "<p>Run as an administrator.</p>\n" : "") + "<pre>" +
                        Escaped(test.text) + "</pre>\n";
    return text.empty() ? "<p>None.</p>\n" : text;
}

// The tests with the same reason stand together.
std::string Skips(const std::vector<ProgramResult>& results)
{
    std::map<std::string, std::string> byReason;
    for (const ProgramResult& program : results)
        for (const TestResult& test : program.tests)
            if (test.outcome == Outcome::Skipped)
                byReason[test.text] += "<li>" + Escaped(FullName(program, test)) + "</li>\n";
    std::string text;
    for (const auto& [reason, tests] : byReason)
        text += "<h3>" + Escaped(reason) + "</h3>\n<ul>\n" + tests + "</ul>\n";
    return text.empty() ? "<p>None.</p>\n" : text;
}

} // namespace

std::string Totals(const std::vector<ProgramResult>& results)
{
    int passed = 0, failed = 0, skipped = 0;
    for (const ProgramResult& program : results) {
        passed += program.Count(Outcome::Passed);
        failed += program.Count(Outcome::Failed);
        skipped += program.Count(Outcome::Skipped);
    }
    return std::to_string(passed) + " passed, " + std::to_string(failed) + " failed, " + std::to_string(skipped) +
           " skipped";
}

std::string HtmlReport(const MachineFacts& facts, const std::vector<ProgramResult>& results)
{
    return Head + ("<h1>Self-test of OrbWatcher4</h1>\n<p>" + Totals(results) + "</p>\n") + FactsTable(facts) +
           Heading("Programs") + ProgramsTable(results) + Heading("Failed tests") + Failures(results) +
           Heading("Skipped tests") + Skips(results) + "</body>\n</html>\n";
}
