// The parts that the intake of paths needs. All of them outlive it.
#pragma once

#include "orbwatcher4/core/due/DueEnumerations.h"
#include "orbwatcher4/core/environment/Signal.h"
#include "orbwatcher4/core/overlay/OverlayStatuses.h"
#include "orbwatcher4/core/pending/PendingStore.h"
#include "orbwatcher4/core/selection/Selection.h"

struct IntakeParts {
    const Config& config;
    CSignal& stop; // long loops end when it is set
    DueEnumerations& due;
    Selection& selection;
    OverlayStatuses& overlay;
    PendingStore& pending;
};
