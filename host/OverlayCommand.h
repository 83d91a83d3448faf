// orbwatch overlay: a service that keeps the overlay statuses and prints each change. For tests of its clients, it can
// be told to behave badly, as real services sometimes do.
#pragma once

#include "host/ExitCode.h"
#include "host/records/RecordWriter.h"

#include <cstdint>

struct OverlayOptions {
    enum class Fault {
        None,
        Silent, // takes requests and does not answer
        Late,   // answers after the client has given up
        Die,    // dies while it handles a request
    };
    Fault fault = Fault::None;
    std::uint64_t after = 0; // requests that are answered before the fault
    std::uint64_t times = 0; // requests with the fault; 0: all that follow
};

ExitCode RunOverlay(const OverlayOptions& options, RecordWriter& writer);
