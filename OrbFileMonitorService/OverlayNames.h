// The names of the objects between the overlay service and its clients. Each installation has its own names, so that
// two on one machine do not share objects. Any thread, but not with a lock held that comes after the settings.
#pragma once

#include "mfc/CString.h"

struct OverlayNames {
    CString request;  // event: a request is in the block
    CString response; // event: the request is done
    CString token;    // event: the turn is free
    CString block;    // file mapping: OverlayBlock

    static OverlayNames OfThisInstallation();
};
