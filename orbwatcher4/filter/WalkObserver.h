/// @file
/// Who is told how a walk goes, beside its caller: what it enters and what it leaves out.
#pragma once

#include "mfc/CString.h"
#include "orbwatcher4/EnumerationProgress.h"

#include <cstdint>

/// An observer of a walk. It is called on the walking thread, with no lock held.
class WalkObserver
{
public:
    /// The list of this folder is read next.
    virtual void Entering(const CString& folder) = 0;
    /// The walk does not report this folder to the caller, or the path does not exist or cannot be read.
    virtual void PassedOver(const CString& path, PathOutcome why) = 0;
    /// A folder or file that a rule names does not exist. PassedOver reports the same next.
    virtual void SelectedMissing(const CString& path) { static_cast<void>(path); }
    /// The list of an entered folder has been read. `error` is 0, or the reason why it could not be read to its end
    /// although the folder exists.
    virtual void ListRead(const CString& folder, std::uint32_t error)
    {
        static_cast<void>(folder);
        static_cast<void>(error);
    }
    /// The attributes of the next reported path, as the list of the entered folder shows them. Not called for paths
    /// that are met in another way: the folder at which the walk begins, the target of a link, a file that is selected
    /// by its path.
    virtual void Shown(std::uint32_t) {}

protected:
    ~WalkObserver() = default;
};
