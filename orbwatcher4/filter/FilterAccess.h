// Gives the watcher and tests the memory of a filter's walks.
#pragma once

#include "orbwatcher4/OrbFilter.h"

class FilterAccess
{
public:
    static WalkMemory& MemoryOf(OrbFilter& filter) { return filter.m_memory; }
};
