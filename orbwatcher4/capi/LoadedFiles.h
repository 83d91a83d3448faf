// Loading files of rules, with the reason when they cannot be. One thread.
#pragma once

#include "orbwatcher4/capi/Border.h"

#include <functional>
#include <initializer_list>

// Refuses a file that is named and not there: the library would pass over some of them, and the rules in it would
// silently not count.
void RequireFiles(std::initializer_list<const std::wstring*> files);

// Runs `load`; when it gives false, refuses with what this thread has written to the log meanwhile.
void RequireLoaded(const std::function<bool()>& load);
