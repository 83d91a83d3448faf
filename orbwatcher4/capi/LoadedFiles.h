// Loads files of rules and reports why a file cannot be loaded. One thread.
#pragma once

#include "orbwatcher4/capi/Border.h"

#include <functional>
#include <initializer_list>

// Refuses a named file that does not exist: the library would skip it, and its rules would have no effect.
void RequireFiles(std::initializer_list<const std::wstring*> files);

// Runs `load`. When it returns false, refuses with the failures that this thread has logged meanwhile.
void RequireLoaded(const std::function<bool()>& load);
