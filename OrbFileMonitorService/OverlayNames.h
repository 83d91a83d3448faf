// What the objects between the overlay service and its clients are called. Each
// installation has its own, so that two on one machine do not meet. Any thread; not
// with a lock held that comes after the settings.
#pragma once

#include "mfc/CString.h"

struct OverlayNames {
    CString request;  // event: a request is in the block
    CString response; // event: the request is done
    CString token;    // event: nobody has the turn
    CString block;    // file mapping: OverlayBlock

    static OverlayNames OfThisInstallation();
};
