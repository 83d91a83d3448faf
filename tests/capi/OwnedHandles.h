// Handles of the C functions that end by themselves.
#pragma once

#include "orbwatcher4/OrbWatcherC.h"

#include <memory>
#include <type_traits>

// Ends what a handle stands for.
struct HandleEnd {
    void operator()(OrbWatcherHandle watcher) const { OrbWatcherDestroy(watcher); }
    void operator()(OrbIndexHandle index) const { OrbIndexClose(index); }
    void operator()(OrbExplanationHandle explanation) const { OrbExplanationDestroy(explanation); }
};

template <typename Handle>
using Owned = std::unique_ptr<std::remove_pointer_t<Handle>, HandleEnd>;
using OwnedWatcher = Owned<OrbWatcherHandle>;
using OwnedIndex = Owned<OrbIndexHandle>;
using OwnedExplanation = Owned<OrbExplanationHandle>;
