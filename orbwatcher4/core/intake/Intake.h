// The intake of a watcher: from events, dumps and new rules to pending changes.
#pragma once

#include "orbwatcher4/core/intake/Replay.h"
#include "orbwatcher4/core/intake/RuleAddition.h"

struct Intake {
    Intake(const IntakeParts& parts, Dump& dump)
        : handler(parts),
          replay(parts, handler, dump),
          addition(parts, handler)
    {
    }
    Intake(const Intake&) = delete;
    Intake& operator=(const Intake&) = delete;

    ChangeHandler handler;
    Replay replay;
    RuleAddition addition;
};
