#include "orbwatcher4/core/due/TimeRule.h"

#include <atomic>

namespace
{

constexpr std::int64_t MinutesBetweenChecks = 30;

std::atomic<std::int64_t> g_lastCheck{0}; // seconds since 1970

} // namespace

bool TimeRule::IsCheckTooEarly(std::int64_t now)
{
    return now >= g_lastCheck && (now - g_lastCheck) / 60 < MinutesBetweenChecks;
}

void TimeRule::NoteCheck(std::int64_t now) { g_lastCheck = now; }
void TimeRule::ForgetLastCheck() { g_lastCheck = 0; }
