#include "orbwatcher4/filter/ApiBoundary.h"

#include "companions/logging/OrbLogging.h"

#include <windows.h>

namespace
{

// A slot of the system: the compiler's thread_local allocates memory at a thread's first use, and ends the process when
// there is none.
const DWORD g_depth = TlsAlloc();

unsigned long long Depth() noexcept
{
    const DWORD error = GetLastError(); // reading a slot clears it
    const auto depth = reinterpret_cast<unsigned long long>(TlsGetValue(g_depth));
    SetLastError(error);
    return depth;
}

void SetDepth(unsigned long long depth) noexcept { TlsSetValue(g_depth, reinterpret_cast<void*>(depth)); }

} // namespace

BoundaryScope::BoundaryScope() noexcept : m_depth(Depth()) { SetDepth(m_depth + 1); }
BoundaryScope::~BoundaryScope() { SetDepth(m_depth); }

void LogCutShort(const wchar_t* operation, const wchar_t* why) noexcept
{
    g_OrbLog.WriteLog(2, L"OrbWatcher", __LINE__, L"%s was cut short: %s", operation, why);
}
