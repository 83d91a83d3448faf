// orbwatch overlay: a service that keeps the overlay statuses and prints each
// change. It can be told to behave badly, as services do, for those who try out
// its clients.
#pragma once

#include "host/ExitCode.h"
#include "host/RecordWriter.h"

#include <cstdint>

struct OverlayOptions {
    enum class Fault {
        None,
        Silent, // takes requests and does not answer
        Late,   // answers when the client has given up
        Die,    // dies with a request in hand
    };
    Fault fault = Fault::None;
    std::uint64_t after = 0; // requests that are answered before the fault
    std::uint64_t times = 0; // requests that meet it; 0: all that follow
};

ExitCode RunOverlay(const OverlayOptions& options, RecordWriter& writer);
