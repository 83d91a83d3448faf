// Named events that every process on the machine may use.
#pragma once

#include "support/Handle.h"

KernelHandle CreateSharedEvent(const wchar_t* name, bool manualReset, bool initiallySet);
