// The two reports of a run. Any thread.
#pragma once

#include "tests/selftest/MachineFacts.h"
#include "tests/selftest/TestResults.h"

#include <string>
#include <vector>

// Returns "N passed, N failed" as tools/test prints it, with the number of the skipped.
std::string Totals(const std::vector<ProgramResult>& results);

// Returns the results in the form of JUnit, which build servers read.
std::string JUnitReport(const MachineFacts& facts, const std::vector<ProgramResult>& results);
// Returns a page for people. It names nothing outside itself.
std::string HtmlReport(const MachineFacts& facts, const std::vector<ProgramResult>& results);
