// The parts that enumerations need. All of them outlive the enumerator.
#pragma once

#include "orbwatcher4/core/due/DueEnumerations.h"
#include "orbwatcher4/core/intake/ChangeHandler.h"

struct EnumerationParts {
    const Config& config;
    CSignal& stop; // enumerations end when it is set
    DueEnumerations& due;
    Selection& selection;
    OverlayStatuses& overlay;
    PendingStore& pending;
    ChangeHandler& handler;
};
