// The watcher's line to the service that draws overlay icons in the shell.
//
// Requests on one object are serialised. Until the line takes effect every
// request answers that there is no service.
#pragma once

#include <cstdint>

enum class OverlayRequest : std::int32_t { SetStatus = 0, GetStatus = 2 };

// Statuses that the watcher writes; the two bits mark a modification.
namespace OverlayStatus
{
constexpr std::int32_t InSync = 0;
constexpr std::int32_t FirstBit = 1;
constexpr std::int32_t SecondBit = 2;
constexpr std::int32_t Pending = 4;
constexpr std::int32_t Excluded = 8;
constexpr std::int32_t ReadStart = 0x10; // what a variable holds before a status is read into it
} // namespace OverlayStatus

class OverlayCache
{
public:
    bool Connect();
    // True when the service has answered in time; GetStatus then fills `status`.
    bool Request(OverlayRequest kind, const wchar_t* path, std::int32_t& status);
    void Disconnect();
};
