#include "pcrecpp/Workspace.h"

#include <new>

namespace pcrecpp
{

namespace
{

// A pattern that backtracks without end gives up after a fraction of a second.
constexpr std::uint32_t MatchLimit = 1'000'000;
// For patterns that cannot be compiled to machine code.
constexpr std::uint32_t DepthLimit = 10'000, HeapLimit = 16 * 1024; // KiB
// For those that can. It grows by itself, and is no part of the thread's own stack.
constexpr std::size_t FirstStack = 32 * 1024, MostStack = 1024 * 1024;

} // namespace

std::unique_ptr<Workspace> Workspace::Make()
{
    std::unique_ptr<Workspace> made(new (std::nothrow) Workspace);
    if (!made)
        return nullptr;
    made->m_result = pcre2_match_data_create(1, nullptr);
    made->m_context = pcre2_match_context_create(nullptr);
    made->m_stack = pcre2_jit_stack_create(FirstStack, MostStack, nullptr);
    if (!made->IsComplete())
        return nullptr;
    pcre2_set_match_limit(made->m_context, MatchLimit);
    pcre2_set_depth_limit(made->m_context, DepthLimit);
    pcre2_set_heap_limit(made->m_context, HeapLimit);
    pcre2_jit_stack_assign(made->m_context, nullptr, made->m_stack);
    return made;
}

Workspace::~Workspace()
{
    pcre2_match_data_free(m_result);
    pcre2_match_context_free(m_context);
    pcre2_jit_stack_free(m_stack);
}

Workspaces::~Workspaces()
{
    for (std::atomic<Workspace*>& kept : m_kept)
        delete kept.exchange(nullptr);
}

std::unique_ptr<Workspace> Workspaces::Take()
{
    for (std::atomic<Workspace*>& kept : m_kept)
        if (kept.load(std::memory_order_relaxed))
            if (Workspace* const taken = kept.exchange(nullptr, std::memory_order_acquire))
                return std::unique_ptr<Workspace>(taken);
    return Workspace::Make();
}

void Workspaces::GiveBack(std::unique_ptr<Workspace> workspace)
{
    for (std::atomic<Workspace*>& kept : m_kept) {
        Workspace* none = nullptr;
        if (kept.compare_exchange_strong(none, workspace.get(), std::memory_order_release, std::memory_order_relaxed)) {
            static_cast<void>(workspace.release());
            return;
        }
    }
}

} // namespace pcrecpp
