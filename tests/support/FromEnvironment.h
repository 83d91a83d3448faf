// Numbers that make a test longer or another one. Portable.
#pragma once

#include <cstdlib>

// A text that is no number above 0 counts as not given.
inline unsigned FromEnvironment(const char* name, unsigned otherwise)
{
    const char* const text = std::getenv(name);
    const int value = text ? std::atoi(text) : 0;
    return value > 0 ? static_cast<unsigned>(value) : otherwise;
}
