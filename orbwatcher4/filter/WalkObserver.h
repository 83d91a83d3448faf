/// @file
/// Who is told how a walk goes, beside its caller: what it enters and what it leaves out.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/EnumerationProgress.h"

#include <cstdint>

/// On the walking thread, with no lock held.
class WalkObserver
{
public:
    /// A folder whose list is read next.
    virtual void Entering(const CString& folder) = 0;
    /// A folder that the caller is not told of, or something that is not there or cannot be read.
    virtual void PassedOver(const CString& path, PathOutcome why) = 0;
    /// A folder or file that a rule names is not there. PassedOver says the same next.
    virtual void SelectedMissing(const CString& path) { static_cast<void>(path); }
    /// The list of an entered folder has been read: `error` is 0, or why it could not be read to its end although the
    /// folder is there.
    virtual void ListRead(const CString& folder, std::uint32_t error)
    {
        static_cast<void>(folder);
        static_cast<void>(error);
    }
    /// The attributes of what the caller is told next, as the list of the entered folder shows them. Not said of what
    /// is met otherwise: a folder that the walk begins with, the target of a link, a file that is selected by its path.
    virtual void Shown(std::uint32_t) {}

protected:
    ~WalkObserver() = default;
};
