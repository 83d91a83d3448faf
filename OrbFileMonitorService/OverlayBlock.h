// The data between the overlay service and its clients: docs/overlay-block.md.
#pragma once

#include <cstddef>
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
constexpr std::int32_t ExcludedShortcut = 0x10;
constexpr std::int32_t ReadStart = 0x10; // value of a variable before a status is read into it
} // namespace OverlayStatus

// The shared memory. The client that has the turn owns it until it sets the request event; then the service owns it
// until it sets the response event.
struct OverlayBlock {
    static constexpr std::size_t PathUnits = 1024; // with the terminating zero

    std::int32_t kind; // an OverlayRequest; after a query, the status that the query returns
    char16_t path[PathUnits];
    std::int32_t status; // the status to set
};

static_assert(offsetof(OverlayBlock, path) == 4 && offsetof(OverlayBlock, status) == 2052);
static_assert(sizeof(OverlayBlock) == 2056);
