// One system call of a kind is refused: the N-th one, or all from the N-th on.
//
// The calls are those that our own modules make. They are counted, and refused, by
// functions that stand in for the imported ones as long as a plan lives. One plan
// at a time; the calls may come from any thread.
#pragma once

#include "tests/support/ImportedCall.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

// A system function that can be refused.
struct FaultyCall {
    const char* name;
    void* standIn;
};

struct FaultKind {
    std::string name; // a word, as part of a test's name
    DWORD error;      // what the system says
    std::vector<FaultyCall> calls;
    // The threads that are refused; the test itself may need the call all the time.
    enum class Threads { All, Own, Others } threads = Threads::All;
};

// gtest names a parameter by it.
inline void PrintTo(const FaultKind& kind, std::ostream* out) { *out << kind.name; }

class FaultPlan
{
public:
    enum class Lasting { Once, FromThenOn };

    // `number` counts from 1.
    FaultPlan(const FaultKind& kind, int number, Lasting lasting);
    ~FaultPlan();
    FaultPlan(const FaultPlan&) = delete;
    FaultPlan& operator=(const FaultPlan&) = delete;

    // Whether a call was refused so far.
    static bool WasReached();

    // For the stand-ins: counts the call; true, with the error set, when it is to be refused.
    static bool Refuses();

private:
    std::vector<std::unique_ptr<ImportedCall>> m_places;
};

namespace Faults
{

FaultKind Opening();
FaultKind Reading();
FaultKind Writing();
FaultKind FullDisk();
FaultKind Denied(); // the database tries such a write again for more than a second: not for what goes into it
FaultKind Mapping();
FaultKind ThreadStart();
FaultKind Memory();
FaultKind MemoryElsewhere(); // on all threads but the test's own
FaultKind Posting();

} // namespace Faults
