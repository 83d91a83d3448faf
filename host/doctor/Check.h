// What the doctor finds out. Any thread.
#pragma once

#include <string>
#include <vector>

struct Check {
    enum class State { Ok, Warning, Failed };

    const char* name;
    State state;
    std::wstring text; // what is so, and what to do about it
    std::wstring path; // may be empty
};

using Checks = std::vector<Check>;

const char* NameOf(Check::State state);
