// A signal that every long loop asks.
#pragma once

#include "mfc/CEvent.h"

class CSignal : public CEvent
{
public:
    CSignal() : CEvent(false, true) {}
    bool IsSet() { return Lock(0); }
};
