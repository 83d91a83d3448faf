// The rule that the watcher looks every 30 minutes at most whether the time of the next full enumeration has come.
// Process-wide: several watchers together look as often as one. Any thread.
#pragma once

#include <cstdint>

namespace TimeRule
{

// Returns true when fewer than 30 whole minutes have passed since the last check. A check in the future means that the
// clock was set back. now: seconds since 1970.
bool IsCheckTooEarly(std::int64_t now);
void NoteCheck(std::int64_t now);
// Makes the next check come at once.
void ForgetLastCheck();

} // namespace TimeRule
