// The command line of the self-test.
#pragma once

#include <string>
#include <vector>

struct Options {
    std::vector<std::wstring> programs; // empty: all
    std::wstring filter;                // as GoogleTest reads it; empty: all tests
    unsigned limit = 1800;              // seconds for each program
    bool keepsWork = false;
    bool wantsHelp = false;
    std::string mistake; // what is wrong with the line; empty when nothing is
};

Options ReadOptions(const std::vector<std::wstring>& arguments);

constexpr const char* OptionsHelp =
    "selftest.cmd [PROGRAM...] [--filter TESTS] [--limit SECONDS] [--keep]\n"
    "  PROGRAM          a name of test-programs.txt; without one, all are run\n"
    "  --filter TESTS   the tests that are run, as GoogleTest names them: Suite.Test, * and - are known\n"
    "  --limit SECONDS  the time that each program has; 1800 without it\n"
    "  --keep           leaves the folder of the run, with the output of each program\n"
    "Writes report.xml and report.html into this folder. Ends with 0 when no test failed, otherwise with 1; with 2 "
    "when\n"
    "nothing was run.\n";
