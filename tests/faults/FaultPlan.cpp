#include "tests/faults/FaultPlan.h"

#include "support/LockOrder.h"

#include <atomic>

namespace
{

// Ours, as far as a test program loads them, and the runtime through which they take memory. Null: the program itself.
constexpr const wchar_t* Modules[] = {nullptr, L"OrbIndexDB.dll", L"OrbSettings.dll", L"libstdc++-6.dll"};

struct Plan {
    std::atomic<bool> armed{false};
    std::atomic<int> left{0}; // calls up to the one that is refused
    std::atomic<bool> reached{false};
    bool fromThenOn = false;
    FaultKind::Threads threads = FaultKind::Threads::All;
    DWORD own = 0;
    DWORD error = 0;
};
Plan g_plan;

bool IsConcerned()
{
    const bool own = g_plan.own == GetCurrentThreadId();
    return g_plan.threads == FaultKind::Threads::All || own == (g_plan.threads == FaultKind::Threads::Own);
}

} // namespace

FaultPlan::FaultPlan(const FaultKind& kind, int number, Lasting lasting)
{
    for (const wchar_t* module : Modules)
        for (const FaultyCall& call : kind.calls)
            if (ImportedCall::IsMade(module, call.name))
                m_places.push_back(std::make_unique<ImportedCall>(module, call.name, call.standIn));
    g_plan.left = number;
    g_plan.reached = false;
    g_plan.fromThenOn = lasting == Lasting::FromThenOn;
    g_plan.threads = kind.threads;
    g_plan.own = GetCurrentThreadId();
    g_plan.error = kind.error;
    g_plan.armed = true;
}

FaultPlan::~FaultPlan() { g_plan.armed = false; }

bool FaultPlan::WasReached() { return g_plan.reached; }

bool FaultPlan::Refuses()
{
    if (!g_plan.armed || !IsConcerned())
        return false;
    if (LockOrder::IsAtWork())
        return false;
    const int left = --g_plan.left;
    if (left != 0 && !(g_plan.fromThenOn && left < 0))
        return false;
    g_plan.reached = true;
    SetLastError(g_plan.error);
    return true;
}
