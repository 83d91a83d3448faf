// A finding of the doctor. Any thread.
#pragma once

#include <string>
#include <vector>

struct Check {
    enum class State { Ok, Warning, Failed };

    const char* name;
    State state;
    std::wstring text; // the state, and what to do about it
    std::wstring path; // may be empty
};

using Checks = std::vector<Check>;

inline const char* NameOf(Check::State state)
{
    static constexpr const char* names[] = {"ok", "warning", "failed"};
    return names[static_cast<std::size_t>(state)];
}
