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

// The subject of several findings.
struct Subject {
    const char* name;
    std::wstring path;

    Check Ok(const std::wstring& text) const { return {name, Check::State::Ok, text, path}; }
    Check Warning(const std::wstring& text) const { return {name, Check::State::Warning, text, path}; }
    Check Failed(const std::wstring& text) const { return {name, Check::State::Failed, text, path}; }
};

inline const char* NameOf(Check::State state)
{
    static constexpr const char* names[] = {"ok", "warning", "failed"};
    return names[static_cast<std::size_t>(state)];
}
