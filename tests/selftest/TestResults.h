// How the tests of one program ended. Any thread.
#pragma once

#include <istream>
#include <string>
#include <vector>

struct TestResult {
    enum class Outcome { Passed, Failed, Skipped };

    std::string name; // "Suite.Test"
    Outcome outcome = Outcome::Failed;
    double seconds = 0;
    std::string text; // the failures, or the reason of the skip
    bool asAdministrator = false;
};

struct ProgramResult {
    std::string name;
    double seconds = 0;
    std::vector<TestResult> tests;

    int Count(TestResult::Outcome outcome) const;
};

// The contents of the records of a run (tests/support/TestRecords.h).
struct RecordedRun {
    std::vector<TestResult> tests;
    std::string running; // the test that has begun and has not ended
    bool begun = false;  // at least one record is there
    bool over = false;   // the program came to its end
};

// Reads the records. A line that was cut off when the program was killed is left out.
RecordedRun ReadRecords(std::istream& lines);

// Adds what the program's own end says: a crash, a hang or a bad exit code is a failed test, the one that was running
// or one that stands for the program. `ending` says how the program ended, `output` is the end of what it printed.
struct ProgramEnd {
    bool inTime = true;
    unsigned exitCode = 0;
    std::string ending;
    std::string output;
};
ProgramResult JudgeRun(const std::string& program, RecordedRun run, const ProgramEnd& end);

// Returns the names of the tests that were skipped because they need an administrator. Their reasons begin so.
std::vector<std::string> NeedAnAdministrator(const ProgramResult& result);
// Puts the results of a second run, as an administrator, in the place of the first ones.
void TakeSecondRun(ProgramResult& result, const ProgramResult& second);
