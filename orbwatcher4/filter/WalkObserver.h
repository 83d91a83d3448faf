// Who is told how a walk goes, beside its caller: what it enters and what it leaves out.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/EnumerationProgress.h"

// On the walking thread, with no lock held.
class WalkObserver
{
public:
    virtual void Entering(const CString& folder) = 0;
    // A folder that the caller is not told of, or something that is not there or cannot be read.
    virtual void PassedOver(const CString& path, PathOutcome why) = 0;

protected:
    ~WalkObserver() = default;
};
