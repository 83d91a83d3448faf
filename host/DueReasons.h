// Why a full enumeration is due, in words for people. Any thread.
#pragma once

#include "mfc/CString.h"

struct DueReason {
    const wchar_t* reason; // one of FullDue
    bool isLoss;           // something was lost
    const wchar_t* words;  // a clause
};

// Returns null for a reason that is not known.
const DueReason* FindDueReason(const CString& reason);
