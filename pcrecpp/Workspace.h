// The memory that one match needs beside the pattern: room for the result, the limits, and a stack for the compiled
// machine code.
#pragma once

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <array>
#include <atomic>
#include <memory>

namespace pcrecpp
{

class Workspace
{
public:
    // Returns null without memory.
    static std::unique_ptr<Workspace> Make();
    ~Workspace();
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;

    pcre2_match_data* Result() const { return m_result; }
    pcre2_match_context* Context() const { return m_context; }

private:
    Workspace() = default;
    bool IsComplete() const { return m_result && m_context && m_stack; }

    pcre2_match_data* m_result = nullptr;
    pcre2_match_context* m_context = nullptr;
    pcre2_jit_stack* m_stack = nullptr;
};

// Keeps workspaces for the next matches: making one takes longer than most matches. A thread has one for itself while
// it matches. Any thread; no locks.
class Workspaces
{
public:
    ~Workspaces();

    std::unique_ptr<Workspace> Take();
    void GiveBack(std::unique_ptr<Workspace> workspace);

private:
    static constexpr std::size_t Most = 8; // more threads than these seldom match at once

    std::array<std::atomic<Workspace*>, Most> m_kept{};
};

} // namespace pcrecpp
